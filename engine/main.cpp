// The process entry. The CAD host tells the viewer its model by writing "Temp/Export.bin"
// under the user directory; files named on the command line (a file manager's "open with")
// are opened as well, together as one model, once the viewer runs.
#include <stdio.h>
#include <string.h>

#include "engine/engine.h"

int main(int argc, char** argv)
{
    static char s_szOpen[TW_SET_SIZE];
    size_t uiAt = 0;
    for (int i = 1; i < argc && uiAt + strlen(argv[i]) + 2 <= sizeof(s_szOpen); i++)
        uiAt += snprintf(s_szOpen + uiAt, sizeof(s_szOpen) - uiAt, "%s%s", uiAt ? "\t" : "", argv[i]);
    return twEngine_Main(nullptr, uiAt ? s_szOpen : nullptr);
}
