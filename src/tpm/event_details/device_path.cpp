#include "tpm/event_details/device_path.h"
