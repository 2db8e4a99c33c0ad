// The process entry. The CAD host tells the viewer its model by writing "Temp/Export.bin"
// under the user directory; a file named on the command line (a file manager's "open with")
// is opened as well, once the viewer runs.
#include "engine/engine.h"

int main(int argc, char** argv)
{
    return twEngine_Main(nullptr, argc > 1 ? argv[1] : nullptr);
}
