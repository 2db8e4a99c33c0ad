#include "platform/input.h"

#include <SDL2/SDL.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/timer.h"
#include "platform/window.h"

TwInput* pInput = nullptr;

#define KEYBOARD_FLAGS 0x16       // shared, foreground, no Windows key
#define MOUSE_FLAGS_EXCLUSIVE 0x15 // exclusive, foreground, no Windows key
#define INPUT_PUMP_SECONDS 0.005   // how often a long job gathers the window's events

// SDL scancode -> DirectInput scan code
static const struct {
    uint16_t usSdl;
    uint8_t ucDik;
} s_aKeyMap[] = {
    {SDL_SCANCODE_ESCAPE, 0x01}, {SDL_SCANCODE_1, 0x02}, {SDL_SCANCODE_2, 0x03}, {SDL_SCANCODE_3, 0x04},
    {SDL_SCANCODE_4, 0x05}, {SDL_SCANCODE_5, 0x06}, {SDL_SCANCODE_6, 0x07}, {SDL_SCANCODE_7, 0x08},
    {SDL_SCANCODE_8, 0x09}, {SDL_SCANCODE_9, 0x0A}, {SDL_SCANCODE_0, 0x0B}, {SDL_SCANCODE_MINUS, 0x0C},
    {SDL_SCANCODE_EQUALS, 0x0D}, {SDL_SCANCODE_BACKSPACE, 0x0E}, {SDL_SCANCODE_TAB, 0x0F},
    {SDL_SCANCODE_Q, 0x10}, {SDL_SCANCODE_W, 0x11}, {SDL_SCANCODE_E, 0x12}, {SDL_SCANCODE_R, 0x13},
    {SDL_SCANCODE_T, 0x14}, {SDL_SCANCODE_Y, 0x15}, {SDL_SCANCODE_U, 0x16}, {SDL_SCANCODE_I, 0x17},
    {SDL_SCANCODE_O, 0x18}, {SDL_SCANCODE_P, 0x19}, {SDL_SCANCODE_LEFTBRACKET, 0x1A},
    {SDL_SCANCODE_RIGHTBRACKET, 0x1B}, {SDL_SCANCODE_RETURN, 0x1C}, {SDL_SCANCODE_LCTRL, 0x1D},
    {SDL_SCANCODE_A, 0x1E}, {SDL_SCANCODE_S, 0x1F}, {SDL_SCANCODE_D, 0x20}, {SDL_SCANCODE_F, 0x21},
    {SDL_SCANCODE_G, 0x22}, {SDL_SCANCODE_H, 0x23}, {SDL_SCANCODE_J, 0x24}, {SDL_SCANCODE_K, 0x25},
    {SDL_SCANCODE_L, 0x26}, {SDL_SCANCODE_SEMICOLON, 0x27}, {SDL_SCANCODE_APOSTROPHE, 0x28},
    {SDL_SCANCODE_GRAVE, 0x29}, {SDL_SCANCODE_LSHIFT, 0x2A}, {SDL_SCANCODE_BACKSLASH, 0x2B},
    {SDL_SCANCODE_Z, 0x2C}, {SDL_SCANCODE_X, 0x2D}, {SDL_SCANCODE_C, 0x2E}, {SDL_SCANCODE_V, 0x2F},
    {SDL_SCANCODE_B, 0x30}, {SDL_SCANCODE_N, 0x31}, {SDL_SCANCODE_M, 0x32}, {SDL_SCANCODE_COMMA, 0x33},
    {SDL_SCANCODE_PERIOD, 0x34}, {SDL_SCANCODE_SLASH, 0x35}, {SDL_SCANCODE_RSHIFT, 0x36},
    {SDL_SCANCODE_KP_MULTIPLY, 0x37}, {SDL_SCANCODE_LALT, 0x38}, {SDL_SCANCODE_SPACE, 0x39},
    {SDL_SCANCODE_CAPSLOCK, 0x3A}, {SDL_SCANCODE_F1, 0x3B}, {SDL_SCANCODE_F2, 0x3C}, {SDL_SCANCODE_F3, 0x3D},
    {SDL_SCANCODE_F4, 0x3E}, {SDL_SCANCODE_F5, 0x3F}, {SDL_SCANCODE_F6, 0x40}, {SDL_SCANCODE_F7, 0x41},
    {SDL_SCANCODE_F8, 0x42}, {SDL_SCANCODE_F9, 0x43}, {SDL_SCANCODE_F10, 0x44},
    {SDL_SCANCODE_NUMLOCKCLEAR, 0x45}, {SDL_SCANCODE_SCROLLLOCK, 0x46}, {SDL_SCANCODE_KP_7, 0x47},
    {SDL_SCANCODE_KP_8, 0x48}, {SDL_SCANCODE_KP_9, 0x49}, {SDL_SCANCODE_KP_MINUS, 0x4A},
    {SDL_SCANCODE_KP_4, 0x4B}, {SDL_SCANCODE_KP_5, 0x4C}, {SDL_SCANCODE_KP_6, 0x4D},
    {SDL_SCANCODE_KP_PLUS, 0x4E}, {SDL_SCANCODE_KP_1, 0x4F}, {SDL_SCANCODE_KP_2, 0x50},
    {SDL_SCANCODE_KP_3, 0x51}, {SDL_SCANCODE_KP_0, 0x52}, {SDL_SCANCODE_KP_PERIOD, 0x53},
    {SDL_SCANCODE_NONUSBACKSLASH, 0x56}, {SDL_SCANCODE_F11, 0x57}, {SDL_SCANCODE_F12, 0x58},
    {SDL_SCANCODE_F13, 0x64}, {SDL_SCANCODE_F14, 0x65}, {SDL_SCANCODE_F15, 0x66},
    {SDL_SCANCODE_KP_EQUALS, 0x8D}, {SDL_SCANCODE_KP_ENTER, 0x9C}, {SDL_SCANCODE_RCTRL, 0x9D},
    {SDL_SCANCODE_KP_DIVIDE, 0xB5}, {SDL_SCANCODE_PRINTSCREEN, 0xB7}, {SDL_SCANCODE_RALT, 0xB8},
    {SDL_SCANCODE_PAUSE, 0xC5}, {SDL_SCANCODE_HOME, 0xC7}, {SDL_SCANCODE_UP, 0xC8},
    {SDL_SCANCODE_PAGEUP, 0xC9}, {SDL_SCANCODE_LEFT, 0xCB}, {SDL_SCANCODE_RIGHT, 0xCD},
    {SDL_SCANCODE_END, 0xCF}, {SDL_SCANCODE_DOWN, 0xD0}, {SDL_SCANCODE_PAGEDOWN, 0xD1},
    {SDL_SCANCODE_INSERT, 0xD2}, {SDL_SCANCODE_DELETE, 0xD3}, {SDL_SCANCODE_LGUI, 0xDB},
    {SDL_SCANCODE_RGUI, 0xDC}, {SDL_SCANCODE_APPLICATION, 0xDD},
};

#define TAP_DOWN 1      // went down since the last read
#define TAP_UP 2        // came up since the last read
#define TAP_AGAIN 4     // went down after it came up: a new press of a key that was held
#define TAP_HELD 8      // the last event was a press
#define TAP_RELEASED 16 // counted down at the last read, though it was already up again

static void Tap(uint8_t* pucTaps, int bDown)
{
    if (!bDown)
        *pucTaps = (uint8_t)((*pucTaps | TAP_UP) & ~TAP_HELD);
    else
        *pucTaps |= TAP_DOWN | TAP_HELD | (*pucTaps & TAP_UP ? TAP_AGAIN : 0);
}

static int ButtonIndex(int iSdlButton)
{
    switch (iSdlButton) {
    case SDL_BUTTON_LEFT: return TW_MOUSE_LEFT;
    case SDL_BUTTON_RIGHT: return TW_MOUSE_RIGHT;
    case SDL_BUTTON_MIDDLE: return TW_MOUSE_MIDDLE;
    case SDL_BUTTON_X1: return TW_MOUSE_FOURTH;
    default: return -1;
    }
}

// The state is read once a frame, and the wheel has no state at all: what happens between
// two reads is gathered as the event pump sees it. The events gathered leave the queue (0),
// so that the one event a swap handles is a window's.
static int SDLCALL GatherEvents(void* pUser, SDL_Event* pEvent)
{
    (void)pUser;
    if (!pInput)
        return 1;
    int bTaken = pEvent->type == SDL_MOUSEWHEEL || pEvent->type == SDL_KEYDOWN || pEvent->type == SDL_KEYUP ||
                 pEvent->type == SDL_MOUSEBUTTONDOWN || pEvent->type == SDL_MOUSEBUTTONUP;
    if (pEvent->type == SDL_MOUSEWHEEL) {
        int iSteps = pEvent->wheel.y;
        if (pEvent->wheel.direction == SDL_MOUSEWHEEL_FLIPPED)
            iSteps = -iSteps;
        pInput->iWheelGathered += iSteps * TW_WHEEL_NOTCH;
    } else if ((pEvent->type == SDL_KEYDOWN && !pEvent->key.repeat) || pEvent->type == SDL_KEYUP) {
        int iKey = twInput_MapScancode(pEvent->key.keysym.scancode);
        if (iKey)
            Tap(&pInput->aucKeyTaps[iKey], pEvent->type == SDL_KEYDOWN);
    } else if (pEvent->type == SDL_MOUSEBUTTONDOWN || pEvent->type == SDL_MOUSEBUTTONUP) {
        int iButton = ButtonIndex(pEvent->button.button);
        if (iButton >= 0)
            Tap(&pInput->aucButtonTaps[iButton], pEvent->type == SDL_MOUSEBUTTONDOWN);
    }
    return !bTaken;
}

// A press seen between two reads counts in this frame, whatever the state says now. A tap
// that was over before its read stood down for one frame only: the next read starts from up.
static void ApplyTaps(uint8_t* pucState, uint8_t* pucPrev, uint8_t* pucTaps, int iCount)
{
    for (int i = 0; i < iCount; i++) {
        uint8_t ucTaps = pucTaps[i];
        if (ucTaps & TAP_RELEASED)
            pucPrev[i] = 0;
        if (ucTaps & TAP_DOWN) {
            pucState[i] = 0x80;
            if (ucTaps & TAP_AGAIN)
                pucPrev[i] = 0;
        }
        pucTaps[i] = (ucTaps & TAP_DOWN) && !(ucTaps & TAP_HELD) ? TAP_RELEASED : 0;
    }
}

int twInput_MapScancode(int iSdlScancode)
{
    for (const auto& key : s_aKeyMap)
        if (key.usSdl == iSdlScancode)
            return key.ucDik;
    return 0;
}

int twInput_Init(int bExclusiveMouse, void* hWnd, void* hInstance)
{
    (void)hWnd;
    (void)hInstance;
    pInput = (TwInput*)twMem_Malloc(sizeof(TwInput), "pInput");
    if (!pInput)
        return 0;
    pInput->uiKeyboardFlags = KEYBOARD_FLAGS;
    pInput->uiMouseFlags = bExclusiveMouse ? MOUSE_FLAGS_EXCLUSIVE : KEYBOARD_FLAGS;
    if (!SDL_WasInit(SDL_INIT_VIDEO)) {
        twLogError("twInput_Init", "!DirectInputCreate");
        return 0;
    }
    pInput->bKeyboardAcquired = 1;
    // exclusive: the system pointer disappears and motion comes as relative steps
    if (bExclusiveMouse && SDL_SetRelativeMouseMode(SDL_TRUE) != 0) {
        twLogError("twInput_Init", "!IDirectInputDevice_SetCooperativeLevel");
        return 0;
    }
    SDL_GetRelativeMouseState(nullptr, nullptr); // drop motion from before the start
    pInput->bMouseAcquired = 1;
    SDL_SetEventFilter(GatherEvents, nullptr);
    return 1;
}

int twInput_Free(void)
{
    if (!pInput)
        return 1;
    SDL_SetEventFilter(nullptr, nullptr);
    if (SDL_WasInit(SDL_INIT_VIDEO))
        SDL_SetRelativeMouseMode(SDL_FALSE);
    twMem_Free(pInput);
    pInput = nullptr;
    return 1;
}

int twInput_Update(void)
{
    if (!pInput)
        return 0;
    memcpy(pInput->aucKeysPrev, pInput->aucKeys, 256);
    memcpy(pInput->aucButtonsPrev, pInput->aucButtons, 4);
    // without the focus the devices are lost: the state holds still until the focus
    // callbacks acquire them again
    if (pWindow && pWindow->bFocusLost) {
        pInput->bKeyboardAcquired = 0;
        pInput->bMouseAcquired = 0;
    }
    if (pInput->bKeyboardAcquired && SDL_WasInit(SDL_INIT_VIDEO)) {
        int iNumKeys = 0;
        const uint8_t* pucState = SDL_GetKeyboardState(&iNumKeys);
        for (const auto& key : s_aKeyMap)
            pInput->aucKeys[key.ucDik] = key.usSdl < iNumKeys && pucState[key.usSdl] ? 0x80 : 0;
        ApplyTaps(pInput->aucKeys, pInput->aucKeysPrev, pInput->aucKeyTaps, 256);
    } else {
        memset(pInput->aucKeyTaps, 0, sizeof(pInput->aucKeyTaps));
    }
    if (pInput->bMouseAcquired && SDL_WasInit(SDL_INIT_VIDEO)) {
        int iDx = 0, iDy = 0;
        uint32_t uiButtons = SDL_GetRelativeMouseState(&iDx, &iDy);
        pInput->iMouseDx = iDx;
        pInput->iMouseDy = iDy;
        pInput->iMouseDz = pInput->iWheelGathered;
        pInput->iWheelGathered = 0;
        pInput->aucButtons[TW_MOUSE_LEFT] = (uiButtons & SDL_BUTTON_LMASK) ? 0x80 : 0;
        pInput->aucButtons[TW_MOUSE_RIGHT] = (uiButtons & SDL_BUTTON_RMASK) ? 0x80 : 0;
        pInput->aucButtons[TW_MOUSE_MIDDLE] = (uiButtons & SDL_BUTTON_MMASK) ? 0x80 : 0;
        pInput->aucButtons[TW_MOUSE_FOURTH] = (uiButtons & SDL_BUTTON_X1MASK) ? 0x80 : 0;
        ApplyTaps(pInput->aucButtons, pInput->aucButtonsPrev, pInput->aucButtonTaps, 4);
    } else {
        memset(pInput->aucButtonTaps, 0, sizeof(pInput->aucButtonTaps));
        // a lost mouse reports no motion; the buttons stay as they were
        pInput->iMouseDx = pInput->iMouseDy = pInput->iMouseDz = 0;
    }
    pInput->bUpdated = 1;
    return 1;
}

int twInput_AnyKeyDown(void)
{
    if (!pInput)
        return 0;
    for (int i = 0; i < 256; i++)
        if (pInput->aucKeys[i] & 0x80)
            return 1;
    return 0;
}

int twInput_KeyDown(int iKey)
{
    if (!pInput || iKey < 0 || iKey > 255)
        return 0;
    return pInput->aucKeys[iKey] & 0x80;
}

int twInput_KeyPressed(int iKey)
{
    if (!pInput || iKey < 0 || iKey > 255)
        return 0;
    return !(pInput->aucKeysPrev[iKey] & 0x80) && (pInput->aucKeys[iKey] & 0x80);
}

int twInput_ButtonDown(int iButton)
{
    if (!pInput || iButton < 0 || iButton > 3)
        return 0;
    return pInput->aucButtons[iButton];
}

int twInput_ButtonPressed(int iButton)
{
    if (!pInput || iButton < 0 || iButton > 3)
        return 0;
    return !pInput->aucButtonsPrev[iButton] && pInput->aucButtons[iButton];
}

int twInput_GetMouseDx(void) { return pInput ? pInput->iMouseDx : 0; }
int twInput_GetMouseDy(void) { return pInput ? pInput->iMouseDy : 0; }
int twInput_GetMouseDz(void) { return pInput ? pInput->iMouseDz : 0; }

int twInput_AcquireKeyboard(void)
{
    if (pInput)
        pInput->bKeyboardAcquired = 1;
    return 1;
}

int twInput_AcquireMouse(void)
{
    if (pInput) {
        pInput->bMouseAcquired = 1;
        SDL_GetRelativeMouseState(nullptr, nullptr); // motion while away doesn't count
    }
    return 1;
}

int twInput_UpdateAndGetEscape(void)
{
    // the keyboard's state only moves when events are gathered; a long job gathers them
    // every few milliseconds, so that a press of Escape is seen
    static double s_dLastPump = 0;
    double dNow = twTimer_Seconds();
    if (dNow - s_dLastPump > INPUT_PUMP_SECONDS && SDL_WasInit(SDL_INIT_VIDEO)) {
        SDL_PumpEvents();
        s_dLastPump = dNow;
    }
    twInput_Update();
    return pInput ? pInput->aucKeys[TW_KEY_ESCAPE] & 0x80 : 0;
}
