#include "tpm/event_details/event_details.h"
