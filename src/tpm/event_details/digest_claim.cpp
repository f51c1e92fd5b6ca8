#include "tpm/event_details/digest_claim.h"
