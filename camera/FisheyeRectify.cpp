#include "FisheyeRectify.h"
