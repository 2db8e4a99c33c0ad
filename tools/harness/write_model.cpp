// Writes the tests' small house as a model file, for scripts that need one.
//
//   write_model <path>
#include <stdio.h>

#include "tools/harness/samples.h"

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: write_model <path>\n");
        return 2;
    }
    return twExport_WriteFile(twSample_SmallHouse(), argv[1]) ? 0 : 1;
}
