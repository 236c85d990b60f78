// The layer's internal helpers are visible outside the shared object only so
// that the layer's own tests can reach them; applications don't see their
// headers.
#pragma once

#define QN_INTERNAL __attribute__((visibility("default")))
