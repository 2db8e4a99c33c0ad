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
    for (int i = 1; i < argc; i++) {
        size_t uiLen = strlen(argv[i]), uiTab = uiAt ? 1 : 0;
        if (uiAt + uiTab + uiLen + 1 > sizeof(s_szOpen))
            break;
        if (uiTab)
            s_szOpen[uiAt++] = '\t';
        memcpy(s_szOpen + uiAt, argv[i], uiLen + 1);
        uiAt += uiLen;
    }
    return twEngine_Main(nullptr, uiAt ? s_szOpen : nullptr);
}
