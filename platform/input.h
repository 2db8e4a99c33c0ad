// Keyboard and mouse, polled once a frame. Keys are numbered by DirectInput scan codes
// (the interface and the movement code depend on those numbers); the SDL scancodes of
// this platform are mapped onto them.
#pragma once
#include <stdint.h>

// Scan codes the engine names
#define TW_KEY_ESCAPE 1
#define TW_KEY_BACK 14
#define TW_KEY_TAB 15
#define TW_KEY_W 17
#define TW_KEY_R 19
#define TW_KEY_T 20
#define TW_KEY_Y 21
#define TW_KEY_U 22
#define TW_KEY_I 23
#define TW_KEY_O 24
#define TW_KEY_P 25
#define TW_KEY_LCONTROL 29
#define TW_KEY_A 30
#define TW_KEY_S 31
#define TW_KEY_D 32
#define TW_KEY_F 33
#define TW_KEY_H 35
#define TW_KEY_K 37
#define TW_KEY_LSHIFT 42
#define TW_KEY_Z 44
#define TW_KEY_X 45
#define TW_KEY_C 46
#define TW_KEY_V 47
#define TW_KEY_B 48
#define TW_KEY_M 50
#define TW_KEY_RSHIFT 54
#define TW_KEY_LALT 56
#define TW_KEY_SPACE 57
#define TW_KEY_F3 61
#define TW_KEY_F4 62
#define TW_KEY_F5 63
#define TW_KEY_F6 64
#define TW_KEY_F8 66
#define TW_KEY_RCONTROL 157
#define TW_KEY_RALT 184
#define TW_KEY_UP 200
#define TW_KEY_PGUP 201
#define TW_KEY_LEFT 203
#define TW_KEY_RIGHT 205
#define TW_KEY_DOWN 208
#define TW_KEY_PGDN 209

#define TW_MOUSE_LEFT 0
#define TW_MOUSE_RIGHT 1
#define TW_MOUSE_MIDDLE 2
#define TW_MOUSE_FOURTH 3
#define TW_WHEEL_NOTCH 120 // wheel units of one notch

struct TwInput {
    uint8_t aucKeys[256];      // this frame's keys by scan code; bit 7 is "down"
    uint8_t aucKeysPrev[256];  // last frame's
    int32_t iMouseDx, iMouseDy, iMouseDz; // motion since the last read: right, down, wheel away
    uint8_t aucButtons[4];     // this frame's buttons, nonzero is down
    uint8_t aucButtonsPrev[4]; // last frame's
    int32_t bKeyboardAcquired; // the device is read; lost with the focus
    int32_t bMouseAcquired;
    uint32_t uiKeyboardFlags, uiMouseFlags; // co-operative levels: 0x16 shared, 0x15 exclusive
    int32_t bUpdated;          // set by every update, never read
    int32_t iWheelGathered;    // wheel motion seen by the event pump since the last read
    // presses and releases the event pump saw since the last read, TW_TAP_* bits: a tap
    // shorter than a frame still counts as one press
    uint8_t aucKeyTaps[256];
    uint8_t aucButtonTaps[4];
};

extern TwInput* pInput;

int twInput_Init(int bExclusiveMouse, void* hWnd, void* hInstance);
int twInput_Free(void);
int twInput_Update(void);       // once a frame
int twInput_AnyKeyDown(void);
int twInput_KeyDown(int iKey);  // nonzero while held
int twInput_KeyPressed(int iKey); // 1 in the frame of the press
int twInput_ButtonDown(int iButton);
int twInput_ButtonPressed(int iButton);
int twInput_GetMouseDx(void);
int twInput_GetMouseDy(void);
int twInput_GetMouseDz(void);
int twInput_AcquireKeyboard(void); // the focus callbacks
int twInput_AcquireMouse(void);
int twInput_UpdateAndGetEscape(void); // updates, then tells whether Escape is held
int twInput_MapScancode(int iSdlScancode); // the scan code of an SDL scancode, 0 when unmapped
