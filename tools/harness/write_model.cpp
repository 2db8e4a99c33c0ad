// Writes the tests' small house, or a town of its houses on a grid, as a model file, or the
// tests' IFC building, for scripts that need one.
//
//   write_model [--town N] <path>      (N by N houses)
//   write_model --ifc <path.ifc>       (the IFC4 building of the tests)
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tools/harness/samples.h"

int main(int argc, char** argv)
{
    if (argc == 3 && strcmp(argv[1], "--ifc") == 0) {
        std::string text = twSample_IfcBuilding("IFC4");
        return twExport_WriteBytes(std::vector<uint8_t>(text.begin(), text.end()), argv[2]) ? 0 : 1;
    }
    int iTown = 0;
    if (argc == 4 && strcmp(argv[1], "--town") == 0)
        iTown = atoi(argv[2]);
    if ((argc != 2 && argc != 4) || (argc == 4 && (iTown < 1 || iTown > 16))) {
        fprintf(stderr, "usage: write_model [--town N] <path>   (N from 1 to 16), or write_model --ifc <path>\n");
        return 2;
    }
    TwExportModel model = iTown ? twSample_GridHouses(iTown, iTown) : twSample_SmallHouse();
    return twExport_WriteFile(model, argv[argc - 1]) ? 0 : 1;
}
