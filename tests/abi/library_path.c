/* The path of the shared object is looked up for a program that writes to the exported variable, and for no other. */
#include "kestrova.h"

#include <stdio.h>
#include <string.h>

int main(void)
{
    const char* path = kestrovaGetDynamicLibPath();
    const char* name;
    if (strcmp(path, "<unavailable>") != 0 || path != g_pszDynamicLibPath) {
        printf("unasked: %s\n", path);
        return 1;
    }
    g_pszDynamicLibPath = "";
    path = kestrovaGetDynamicLibPath();
    name = strrchr(path, '/');
    if (name == NULL || strcmp(name + 1, "libkestrova.so.3") != 0 || path != g_pszDynamicLibPath) {
        printf("asked: %s\n", path);
        return 1;
    }
    return 0;
}
