/* HeaderC.c: the public header compiles as C99 and its functions link from a C program. */
#include <stdio.h>
#include <string.h>

#include "Vintrel/VintrelAPI.h"

int main(void) {
    const char* sMsg = VT_GetLastErrorMsg();
    if (sMsg == NULL) return 1;
    if (VT_ExportDict(NULL, -1) != 0) return 1;
    printf("1 passed, 0 failed\n");
    return 0;
}
