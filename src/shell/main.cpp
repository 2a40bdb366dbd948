#include "shell/entry.h"
#include "shell/profile.h"

int main(int argc, char** argv) { return numforge::run_program(argc, argv, numforge::kProfile); }
