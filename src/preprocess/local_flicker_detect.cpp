#include "kevra.h"

void AppKEVRA::local_flicker_detect(int, float (*)[256], float, float) {}
