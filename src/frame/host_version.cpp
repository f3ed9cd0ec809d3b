// The host version, read once by the entry point and consulted by every version rule.
#include "frame/host_version.h"

double rbversion = 0.0;
