// The process entry. The viewer takes no command-line options: the CAD host tells it
// its model only by writing "Temp/Export.bin" under the user directory.
#include "engine/engine.h"

int main(void)
{
    return twEngine_Main(nullptr);
}
