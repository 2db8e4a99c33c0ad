#include "engine/engine.h"
#include "platform/input.h"

void twEngine_HandleInput(void)
{
    TwEngine* e = pEngine;
    twInput_Update();
    e->iMouseDx = twInput_GetMouseDx();
    e->iMouseDy = twInput_GetMouseDy();
    e->iMouseDz = twInput_GetMouseDz();
    // Z is the developer's shift: with Escape it ends the program
    int bShift = twInput_KeyDown(TW_KEY_Z);
    if (twInput_KeyPressed(TW_KEY_ESCAPE)) {
        if (bShift) {
            e->bQuit = 1;
        } else if (!e->bInterface) {
            e->bInterface = 1;
            e->fInterfSlideDir = 1;
        } else {
            // the panel stays until it has slid out
            e->fInterfSlideDir = -1;
            e->fProgressFade = 0;
        }
    }
}
