#include "lburp_fixture.h"
