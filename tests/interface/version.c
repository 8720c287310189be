#include "ktwt/version.h"

#include <string.h>

int main(void) {
    const int same = strcmp(ktx_build_info, "Work Table Library version 2.3 (build 26)") == 0 &&
                     strcmp(ktx_build_version, "2.3") == 0 && ktx_build_number == 26;
    return same ? 0 : 1;
}
