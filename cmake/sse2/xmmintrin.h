#include <emmintrin.h>
