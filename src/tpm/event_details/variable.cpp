#include "tpm/event_details/variable.h"
