#include "tpm/event_details/signature_list.h"
