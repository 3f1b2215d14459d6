// The same program once more: the header means the same in C++17 as in C11.
#include "every_function.c"
