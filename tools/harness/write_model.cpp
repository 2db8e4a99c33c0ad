// Writes the tests' small house, or a town of its houses on a grid, as a model file, for
// scripts that need one.
//
//   write_model [--town N] <path>      (N by N houses)
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tools/harness/samples.h"

int main(int argc, char** argv)
{
    int iTown = 0;
    if (argc == 4 && strcmp(argv[1], "--town") == 0)
        iTown = atoi(argv[2]);
    if ((argc != 2 && argc != 4) || (argc == 4 && (iTown < 1 || iTown > 16))) {
        fprintf(stderr, "usage: write_model [--town N] <path>   (N from 1 to 16)\n");
        return 2;
    }
    TwExportModel model = iTown ? twSample_GridHouses(iTown, iTown) : twSample_SmallHouse();
    return twExport_WriteFile(model, argv[argc - 1]) ? 0 : 1;
}
