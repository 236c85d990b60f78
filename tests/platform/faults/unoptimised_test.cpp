// Built with -O0 whatever the build type.
#define QN_FAULT_SUITE FaultsUnoptimised
#include "at_level.h"
