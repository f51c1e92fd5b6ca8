#include "tpm/event_details/known_names.h"
