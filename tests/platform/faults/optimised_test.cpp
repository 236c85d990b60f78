// Built with -O2 whatever the build type.
#define QN_FAULT_SUITE FaultsOptimised
#include "at_level.h"
