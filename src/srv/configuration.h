// The configuration now lives in src/srv/config (library vesk_config). This header only forwards
// to it for the hosts that still include it here; include "srv/config/configuration.h".
#ifndef VESK_SRV_CONFIGURATION_H_
#define VESK_SRV_CONFIGURATION_H_

#include "srv/config/configuration.h"

#endif  // VESK_SRV_CONFIGURATION_H_
