#include "uKwTargets.h"
