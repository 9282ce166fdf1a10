#include "kevra.h"

void AppKEVRA::statistic_preprocess(int, float, kevra_parameter*, kevra_config*) {}
