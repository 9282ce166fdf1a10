#include "kevra.h"

void AppKEVRA::median_filter(float*, int, kevra_parameter*) {}
