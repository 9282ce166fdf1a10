#include "confidence/my_cos.h"

#include "kevra.h"

int AppKEVRA::my_cos(int angle) { return kevra::fixed_cos(angle); }
