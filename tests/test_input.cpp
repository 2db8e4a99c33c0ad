// Keys by scan code, press edges, the focus rules and the window's focus callbacks.
#include <gtest/gtest.h>
#include <SDL2/SDL.h>

#include "engine/memory.h"
#include "platform/input.h"
#include "platform/window.h"
#include "tests/support.h"

struct Input : ::testing::Test {
    void SetUp() override
    {
        twHarness_StartServices();
        // without a display: the record alone, with the devices acquired
        pInput = (TwInput*)twMem_Malloc(sizeof(TwInput), "pInput");
        pInput->bKeyboardAcquired = pInput->bMouseAcquired = 1;
    }
    void TearDown() override
    {
        twInput_Free();
        twWindow_Free();
        twHarness_StopServices();
    }
    // one frame in which the given keys are down
    static void Frame(std::initializer_list<int> keys)
    {
        memcpy(pInput->aucKeysPrev, pInput->aucKeys, 256);
        memset(pInput->aucKeys, 0, 256);
        for (int k : keys)
            pInput->aucKeys[k] = 0x80;
    }
};

TEST_F(Input, EveryKeyTheViewerNamesHasItsScanCode)
{
    const int aiPairs[][2] = {
        {SDL_SCANCODE_ESCAPE, TW_KEY_ESCAPE}, {SDL_SCANCODE_BACKSPACE, TW_KEY_BACK}, {SDL_SCANCODE_TAB, TW_KEY_TAB},
        {SDL_SCANCODE_W, TW_KEY_W},          {SDL_SCANCODE_R, TW_KEY_R},             {SDL_SCANCODE_Y, TW_KEY_Y},
        {SDL_SCANCODE_U, TW_KEY_U},          {SDL_SCANCODE_I, TW_KEY_I},             {SDL_SCANCODE_O, TW_KEY_O},
        {SDL_SCANCODE_P, TW_KEY_P},          {SDL_SCANCODE_LCTRL, TW_KEY_LCONTROL},  {SDL_SCANCODE_A, TW_KEY_A},
        {SDL_SCANCODE_S, TW_KEY_S},          {SDL_SCANCODE_D, TW_KEY_D},             {SDL_SCANCODE_F, TW_KEY_F},
        {SDL_SCANCODE_H, TW_KEY_H},          {SDL_SCANCODE_LSHIFT, TW_KEY_LSHIFT},   {SDL_SCANCODE_Z, TW_KEY_Z},
        {SDL_SCANCODE_M, TW_KEY_M},          {SDL_SCANCODE_RSHIFT, TW_KEY_RSHIFT},   {SDL_SCANCODE_LALT, TW_KEY_LALT},
        {SDL_SCANCODE_SPACE, TW_KEY_SPACE},  {SDL_SCANCODE_F3, TW_KEY_F3},           {SDL_SCANCODE_F4, TW_KEY_F4},
        {SDL_SCANCODE_F5, TW_KEY_F5},        {SDL_SCANCODE_F8, TW_KEY_F8},           {SDL_SCANCODE_RCTRL, TW_KEY_RCONTROL},
        {SDL_SCANCODE_RALT, TW_KEY_RALT},    {SDL_SCANCODE_UP, TW_KEY_UP},           {SDL_SCANCODE_PAGEUP, TW_KEY_PGUP},
        {SDL_SCANCODE_LEFT, TW_KEY_LEFT},    {SDL_SCANCODE_RIGHT, TW_KEY_RIGHT},     {SDL_SCANCODE_DOWN, TW_KEY_DOWN},
        {SDL_SCANCODE_PAGEDOWN, TW_KEY_PGDN}, {SDL_SCANCODE_B, 48},                  {SDL_SCANCODE_C, 46},
        {SDL_SCANCODE_T, 20},                {SDL_SCANCODE_V, 47},                   {SDL_SCANCODE_1, 2},
        {SDL_SCANCODE_0, 11},                {SDL_SCANCODE_F1, 59},                  {SDL_SCANCODE_F12, 88},
        {SDL_SCANCODE_KP_ENTER, 156},        {SDL_SCANCODE_DELETE, 211},
    };
    for (const auto& pair : aiPairs)
        EXPECT_EQ(twInput_MapScancode(pair[0]), pair[1]) << "SDL scancode " << pair[0];
    EXPECT_EQ(twInput_MapScancode(SDL_SCANCODE_UNKNOWN), 0);
    // no two SDL keys land on one scan code
    int aiSeen[256] = {0};
    for (int i = 0; i < SDL_NUM_SCANCODES; i++) {
        int iDik = twInput_MapScancode(i);
        if (iDik) {
            EXPECT_EQ(aiSeen[iDik]++, 0) << "scan code " << iDik;
        }
    }
}

TEST_F(Input, PressesAreEdgesAndHeldKeysAreLevels)
{
    Frame({});
    EXPECT_EQ(twInput_AnyKeyDown(), 0);
    Frame({TW_KEY_F});
    EXPECT_EQ(twInput_KeyPressed(TW_KEY_F), 1);
    EXPECT_NE(twInput_KeyDown(TW_KEY_F), 0);
    EXPECT_EQ(twInput_AnyKeyDown(), 1);
    Frame({TW_KEY_F});
    EXPECT_EQ(twInput_KeyPressed(TW_KEY_F), 0);
    EXPECT_NE(twInput_KeyDown(TW_KEY_F), 0);
    EXPECT_EQ(twInput_KeyDown(-1), 0);
    EXPECT_EQ(twInput_KeyPressed(256), 0);
    pInput->aucButtons[TW_MOUSE_LEFT] = 0x80;
    EXPECT_EQ(twInput_ButtonPressed(TW_MOUSE_LEFT), 1);
    memcpy(pInput->aucButtonsPrev, pInput->aucButtons, 4);
    EXPECT_EQ(twInput_ButtonPressed(TW_MOUSE_LEFT), 0);
    EXPECT_NE(twInput_ButtonDown(TW_MOUSE_LEFT), 0);
    EXPECT_EQ(twInput_ButtonDown(4), 0);
}

TEST_F(Input, LostFocusFreezesTheStateUntilTheCallbacksAcquire)
{
    twWindow_Init();
    twWindow_SetOnFocusGained1(twInput_AcquireKeyboard);
    twWindow_SetOnFocusGained2(twInput_AcquireMouse);
    pInput->aucKeys[TW_KEY_W] = 0x80;
    pInput->aucButtons[TW_MOUSE_RIGHT] = 0x80;
    pInput->iMouseDx = 7;
    SDL_Event lost = {};
    lost.type = SDL_WINDOWEVENT;
    lost.window.event = SDL_WINDOWEVENT_FOCUS_LOST;
    twWindow_Proc(&lost);
    twWindow_Proc(&lost); // twice before coming back
    twInput_Update();
    twInput_Update();
    // the key held when focus went stays down in both arrays: no new edge
    EXPECT_NE(twInput_KeyDown(TW_KEY_W), 0);
    EXPECT_EQ(twInput_KeyPressed(TW_KEY_W), 0);
    EXPECT_NE(twInput_ButtonDown(TW_MOUSE_RIGHT), 0);
    EXPECT_EQ(twInput_GetMouseDx(), 0);
    EXPECT_EQ(pInput->bKeyboardAcquired, 0);
    SDL_Event gained = {};
    gained.type = SDL_WINDOWEVENT;
    gained.window.event = SDL_WINDOWEVENT_FOCUS_GAINED;
    twWindow_Proc(&gained);
    EXPECT_EQ(pInput->bKeyboardAcquired, 1);
    EXPECT_EQ(pInput->bMouseAcquired, 1);
    EXPECT_EQ(pWindow->bFocusLost, 0);
    // a second gain without a loss calls nothing
    pInput->bKeyboardAcquired = 0;
    twWindow_Proc(&gained);
    EXPECT_EQ(pInput->bKeyboardAcquired, 0);
}

TEST_F(Input, EscapeIsReadAfterAnUpdate)
{
    pInput->bKeyboardAcquired = 0; // nothing to read from: the state stands
    pInput->aucKeys[TW_KEY_ESCAPE] = 0x80;
    EXPECT_NE(twInput_UpdateAndGetEscape(), 0);
    EXPECT_EQ(twInput_KeyPressed(TW_KEY_ESCAPE), 0); // the update consumed the edge
    EXPECT_EQ(pInput->bUpdated, 1);
}
