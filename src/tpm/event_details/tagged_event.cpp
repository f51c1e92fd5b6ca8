#include "tpm/event_details/tagged_event.h"
