#include "confidence/cos_to_sin.h"

#include "kevra.h"

float AppKEVRA::cos_to_sin(float angle, float cosine) { return kevra::sine_from_cosine(angle, cosine); }
