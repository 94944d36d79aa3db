// The same program as C++.
#include "namesakes.c"
