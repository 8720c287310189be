#include "ktwt/version.h"

const char ktx_build_info[] = "Work Table Library version 2.3 (build 26)";
const char ktx_build_version[] = "2.3";
const int ktx_build_number = 26;
