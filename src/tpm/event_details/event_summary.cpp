#include "tpm/event_details/event_text.h"
