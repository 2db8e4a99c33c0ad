#include "engine/engine.h"
#include "navigation/camera.h"
#include "platform/input.h"

#define TW_MOUSE_LOOK_BUTTON TW_MOUSE_RIGHT // held: level the view, or keep a flight's height

static int KeyDown(int iKey)
{
    return twInput_KeyDown(iKey) != 0;
}

// Walking and flying: held keys set this frame's motion, presses switch modes
static void MovementKeys(void)
{
    TwCamera* c = pCam;
    // Z is the developer's shift: it takes the movement keys unless developer mode is on
    if (!KeyDown(TW_KEY_Z) || pEngine->bDevMode) {
        if (KeyDown(TW_KEY_W) || KeyDown(TW_KEY_UP))
            twCamera_SetForward(c, 1);
        if (KeyDown(TW_KEY_S) || KeyDown(TW_KEY_DOWN))
            twCamera_SetForward(c, -1);
        if (KeyDown(TW_KEY_A) || KeyDown(TW_KEY_LEFT))
            twCamera_SetStrafe(c, -1);
        if (KeyDown(TW_KEY_D) || KeyDown(TW_KEY_RIGHT))
            twCamera_SetStrafe(c, 1);
        if (KeyDown(TW_KEY_PGUP) || KeyDown(TW_KEY_Y))
            twCamera_Vertical(c, 1);
        if (KeyDown(TW_KEY_PGDN) || KeyDown(TW_KEY_H))
            twCamera_Vertical(c, 0);
    }
    int bShift = KeyDown(TW_KEY_LSHIFT) || KeyDown(TW_KEY_RSHIFT);
    int bCtrl = KeyDown(TW_KEY_LCONTROL) || KeyDown(TW_KEY_RCONTROL);
    if (bShift && bCtrl)
        c->fSpeedMul = c->fFastMul;
    else if (bShift)
        c->fSpeedMul = c->fRunMul;
    else if (bCtrl)
        c->fSpeedMul = c->fSlowMul;
    if (KeyDown(TW_KEY_LALT) || KeyDown(TW_KEY_RALT))
        c->bCrouchKey = 1;
    if (twInput_KeyPressed(TW_KEY_F) && !KeyDown(TW_KEY_Z) && !c->bTopView) {
        if (c->bWalk)
            twCamera_StartFlying(c);
        else
            twCamera_StartWalking(c);
    }
    if (twInput_KeyPressed(TW_KEY_SPACE))
        twCamera_Jump(c);
    if (twInput_ButtonDown(TW_MOUSE_LOOK_BUTTON)) {
        if (c->bWalk)
            c->bResetPitch = 1;
        else
            c->bLevelFlight = 1;
    }
    if (c->bTopView && pEngine->iMouseDz)
        twCamera_TopZoom(c, pEngine->iMouseDz);
}

void twEngine_HandleInput(void)
{
    TwEngine* e = pEngine;
    twInput_Update();
    e->iMouseDx = twInput_GetMouseDx();
    e->iMouseDy = twInput_GetMouseDy();
    e->iMouseDz = twInput_GetMouseDz();
    // Z is the developer's shift: with Escape it ends the program
    int bShift = KeyDown(TW_KEY_Z);
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
    if (twInput_KeyPressed(TW_KEY_F8))
        pCam->bTopView = !pCam->bTopView;
    MovementKeys();
    // the look, while the panel is closed
    if (!e->bInterface) {
        if (pCam->bTopView && twInput_ButtonDown(TW_MOUSE_LOOK_BUTTON))
            twCamera_TopPan(pCam, e->iMouseDx, e->iMouseDy);
        else
            twCamera_MouseLook(pCam, e->iMouseDx, e->iMouseDy);
    }
}
