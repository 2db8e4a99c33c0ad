// The panel on a real window: widgets drawn and hit in one pass, values dragged and picked,
// the layer list, taps shorter than a frame, the viewer's commands and dev keys, the
// element pick and the light page of an opened copy.
#include <GL/glew.h>
#include <SDL2/SDL.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include "engine/engine.h"
#include "engine/strings.h"
#include "interface/dev.h"
#include "interface/gallery.h"
#include "interface/interf.h"
#include "interface/layers.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "platform/input.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "render/render.h"
#include "tests/support.h"
#include "tools/harness/samples.h"
#include "world/world.h"

#define W 1000
#define H 400

struct Interf : ::testing::Test {
    static void SetUpTestSuite()
    {
        twHarness_StartGl(W, H);
        twStrings_Init();
        ASSERT_EQ(twStrings_ImportBin((std::string(AMB_BUILD_DIR) + "/Data/Strings/Strings.bin").c_str()), 1);
        ASSERT_EQ(twInput_Init(0, nullptr, nullptr), 1);
        ASSERT_EQ(twEngine_InitEngine(), 1);
        ASSERT_EQ(twEngine_InitDevMode(), 1);
        ASSERT_EQ(twEngine_InitCamera(), 1);
        ASSERT_EQ(twEngine_InitLayers(), 1);
        ASSERT_EQ(twEngine_InitWorld(), 1);
        ASSERT_EQ(twEngine_InitGallery(), 1);
        ASSERT_EQ(twEngine_InitInterf(), 1);
    }
    static void TearDownTestSuite() { twEngine_Shutdown(); }

    // the pass in window pixels, the panel all the way out, faded in
    static void Pass(int x, int y, int bHeld, int bPressed, int iDx = 0)
    {
        twTest_PixelView(W, H);
        pEngine->iMouseX = pEngine->iLiveX = x;
        pEngine->iMouseY = pEngine->iLiveY = y;
        pInterf->fFade = 1;
        twInterf_Draw(bHeld, bPressed, iDx, 0, 0, 0);
    }
    static float Grey(int x, int y)
    {
        uint8_t aucPixel[4];
        glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, aucPixel);
        return aucPixel[0] / 255.0f;
    }
    // a key or button going down and up between two reads of the state
    static void Tap(int iSdlScancode, int iButton = 0)
    {
        SDL_Event e = {};
        for (int bDown = 1; bDown >= 0; bDown--) {
            if (iButton) {
                e.type = bDown ? SDL_MOUSEBUTTONDOWN : SDL_MOUSEBUTTONUP;
                e.button.button = (uint8_t)iButton;
            } else {
                e.type = bDown ? SDL_KEYDOWN : SDL_KEYUP;
                e.key.keysym.scancode = (SDL_Scancode)iSdlScancode;
            }
            SDL_PushEvent(&e);
        }
    }
    static void Key(int iSdlScancode, int bDown)
    {
        SDL_Event e = {};
        e.type = bDown ? SDL_KEYDOWN : SDL_KEYUP;
        e.key.keysym.scancode = (SDL_Scancode)iSdlScancode;
        SDL_PushEvent(&e);
    }
    static void ZTap(int iSdlScancode)
    {
        Key(SDL_SCANCODE_Z, 1);
        Tap(iSdlScancode);
        Key(SDL_SCANCODE_Z, 0);
    }
    // one frame of the viewer with the pointer where the test puts it
    static void Frame(int x, int y)
    {
        pEngine->iMouseX = pEngine->iLiveX = x;
        pEngine->iMouseY = pEngine->iLiveY = y;
        pEngine->fInterfSlide = pEngine->bInterface ? 1 : 0;
        twEngine_Draw();
        twEngine_HandleInput();
    }
};

TEST_F(Interf, WidgetsAreDrawnAndHitInOnePass)
{
    static int32_t iPushed = 0;
    ASSERT_EQ(twInterf_AddPage("T"), 1);
    twInterf_AddQuad(0, 0, W, 100, 0, 1);
    twInterf_AddButton(10, 10, 100, 16, "Toggle", 0, 1, 0, 1);
    twInterf_AddButton(10, 40, 100, 16, "Hidden", 0, 0, 1, 1);
    twInterf_AddPushButton(200, 10, 100, 16, "Push", &iPushed, 1);
    twInterf_AddFakeButton(400, 10, 50, 50, "FAKE");
    // under the pointer a button is lighter than at rest
    Pass(50, 18, 0, 0);
    EXPECT_STREQ(twInterf_GetButtonHit(), "Toggle");
    EXPECT_NEAR(Grey(12, 12), 140 / 255.0f, 0.02f);
    EXPECT_NEAR(Grey(202, 12), 40 / 255.0f, 0.02f);
    // a press flips a toggle and a push button's integer; hits are strictly inside
    Pass(50, 18, 1, 1);
    Pass(250, 18, 1, 1);
    EXPECT_EQ(iPushed, 1);
    Pass(10, 18, 0, 0);
    EXPECT_EQ(twInterf_GetButtonHit(), nullptr);
    Pass(425, 30, 0, 0);
    EXPECT_STREQ(twInterf_GetButtonHit(), "FAKE");
    Pass(50, 48, 0, 0); // hidden: not hit
    EXPECT_EQ(twInterf_GetButtonHit(), nullptr);
    Pass(600, 300, 1, 1); // outside every widget
    EXPECT_EQ(twInterf_GetButtonHit(), nullptr);
    EXPECT_EQ(twInterf_ShowButton("Hidden", 1), 1);
    EXPECT_EQ(twInterf_ChangeButton("Nope", "X"), 0);
    EXPECT_TRUE(twTest_LogHas("!Failed to find button 'Nope' in page 'T'\n"));
    // a second selection of the shown page closes it; an unknown name closes and fails
    EXPECT_EQ(twInterf_SelectPage("T"), 1);
    EXPECT_EQ(twInterf_GetPageName(), nullptr);
    EXPECT_EQ(twInterf_AddQuad(0, 0, 1, 1, 0, 0), 0);
    EXPECT_TRUE(twTest_LogHas("page must be selected\n"));
    EXPECT_EQ(twInterf_SelectPage("no such page"), 0);
    EXPECT_EQ(twInterf_AddLayerList(0, 0, 1, 1, 21, nullptr), 0);
}

TEST_F(Interf, ValuesDragOnTheSpotAndOptionsDropDown)
{
    static int32_t iValue = 78, iLocked = 5, iState = 1, iOption = 0;
    static float fValue = 0.5f;
    static const char* apstrNames[3] = {"a", "b", "c"};
    static const float fScale = 100;
    twInterf_AddPage("V");
    twInterf_AddValue(10, 150, TW_VALUE_INT, &iValue, nullptr, 10, 80, 1, nullptr, nullptr, nullptr, 0, nullptr, nullptr);
    twInterf_AddValue(10, 120, TW_VALUE_INT, &iLocked, nullptr, 0, 80, 1, nullptr, nullptr, nullptr, 0, &iState, nullptr);
    twInterf_AddValue(10, 90, TW_VALUE_FLOAT, nullptr, &fValue, 0, 1, 0.01f, &fScale, nullptr, nullptr, 0, nullptr,
                      nullptr);
    twInterf_AddValue(10, 60, TW_VALUE_OPTION, nullptr, nullptr, 0, 2, 1, nullptr, apstrNames, &iOption, 0, nullptr,
                      nullptr);
    EXPECT_EQ(twInterf_AddValue(0, 0, TW_VALUE_OPTION, nullptr, nullptr, 0, 1, 1, nullptr, nullptr, &iOption, 0, nullptr,
                                "m"),
              0);
    EXPECT_TRUE(twTest_LogHas("Unit string only valid for int and float type\n"));
    Pass(90, 158, 1, 1, 5); // dragged past its end: held at 80
    EXPECT_EQ(iValue, 80);
    Pass(90, 158, 1, 0, -3);
    EXPECT_EQ(iValue, 77);
    Pass(90, 128, 1, 1, 5); // shown but not active
    EXPECT_EQ(iLocked, 5);
    Pass(90, 98, 1, 1, 10);
    EXPECT_NEAR(fValue, 0.6f, 1e-5f);
    // held over an option: the list hangs beside it and the live pointer picks
    pEngine->iMouseX = 90;
    pEngine->iMouseY = 68;
    pEngine->iLiveX = 10 + 170 + 50;
    pEngine->iLiveY = 60 + 16 - 16 - 2 * 15 + 7; // the third item
    twInterf_Draw(1, 0, 0, 0, 0, 0);
    EXPECT_EQ(iOption, 2);
    EXPECT_EQ(twInterf_TakeValueListOpen(), 1);
    EXPECT_EQ(twInterf_TakeValueListOpen(), 0);
    twInterf_SelectPage("V");
}

TEST_F(Interf, ALayerRowFlipsItsLayerAndEmptyRowsNeverShow)
{
    uint8_t aucLayers[2][TW_LAYER_SIZE] = {};
    snprintf((char*)aucLayers[0] + TW_LAYER_NAME_OFFSET, 20, "Walls");
    int32_t* pbVisible = (int32_t*)(aucLayers[0] + TW_LAYER_VISIBLE_OFFSET);
    *pbVisible = 1;
    uint8_t* apLayers[2] = {aucLayers[1], aucLayers[0]}; // an empty row first: skipped, but it takes its place
    twInterf_AddPage("L");
    twInterf_AddLayerList(10, 100, 400, 100, 2, apLayers);
    // the second row's top line is 14 below the list's top
    Pass(30, 200 - 14 - 12, 1, 1);
    EXPECT_EQ(*pbVisible, 0);
    Pass(30, 200 - 12, 1, 1); // the empty first row: nothing
    EXPECT_EQ(*pbVisible, 0);
    twInterf_SelectPage("L");
}

TEST_F(Interf, ATapShorterThanAFrameCountsOnce)
{
    twInput_Update();
    Tap(SDL_SCANCODE_F8);
    twInput_Update();
    EXPECT_EQ(twInput_KeyPressed(TW_KEY_F8), 1);
    twInput_Update();
    EXPECT_EQ(twInput_KeyPressed(TW_KEY_F8), 0);
    // a key held through a frame is one press, released and pressed again between reads another
    Key(SDL_SCANCODE_F, 1);
    twInput_Update();
    EXPECT_EQ(twInput_KeyPressed(TW_KEY_F), 1);
    Key(SDL_SCANCODE_F, 0);
    Key(SDL_SCANCODE_F, 1);
    twInput_Update();
    EXPECT_EQ(twInput_KeyPressed(TW_KEY_F), 1);
    Key(SDL_SCANCODE_F, 0);
    twInput_Update();
    Tap(0, SDL_BUTTON_LEFT);
    twInput_Update();
    EXPECT_EQ(twInput_ButtonPressed(TW_MOUSE_LEFT), 1);
    twInput_Update();
    EXPECT_EQ(twInput_ButtonDown(TW_MOUSE_LEFT), 0);
}

TEST_F(Interf, TabsSwitchPagesAndZKeysBelongToDevMode)
{
    int iRow2 = pEngine->iInterfHeight - 24 - 34 + 8, iTabX = 80;
    Tap(SDL_SCANCODE_ESCAPE);
    Frame(W / 2, H / 2);
    ASSERT_EQ(pEngine->bInterface, 1);
    EXPECT_TRUE(twInterf_IsPage(twStrings_Get(100)));
    Frame(iTabX, iRow2); // the pass finds the tab under the pointer
    Tap(0, SDL_BUTTON_LEFT);
    Frame(iTabX, iRow2);
    EXPECT_TRUE(twInterf_IsPage(twStrings_Get(101)));
    Tap(0, SDL_BUTTON_LEFT); // the shown page's own tab does nothing
    Frame(iTabX, iRow2);
    EXPECT_TRUE(twInterf_IsPage(twStrings_Get(101)));
    // Z with Tab: the Dev page, and back to the page before (pushed events move no key
    // state, so Z goes down again in each frame it is to be held)
    ZTap(SDL_SCANCODE_TAB);
    Frame(W / 2, H / 2);
    EXPECT_TRUE(twInterf_IsPage(TW_DEV_PAGE));
    EXPECT_EQ(twDev_HidesWorld(), 1);
    ZTap(SDL_SCANCODE_TAB);
    Frame(W / 2, H / 2);
    EXPECT_TRUE(twInterf_IsPage(twStrings_Get(101)));
    // letters with Z toggle nothing without dev mode; with it B counts 0, 1, 2, 0
    ZTap(SDL_SCANCODE_T);
    Frame(W / 2, H / 2);
    EXPECT_EQ(pEngine->bTransparency, 1);
    pEngine->bDevMode = 1;
    int aiVolumes[4];
    for (int i = 0; i < 4; i++) {
        ZTap(SDL_SCANCODE_B);
        Frame(W / 2, H / 2);
        aiVolumes[i] = pEngine->iDrawVolumes;
    }
    EXPECT_EQ(aiVolumes[0] * 1000 + aiVolumes[1] * 100 + aiVolumes[2] * 10 + aiVolumes[3], 1201);
    pEngine->bDevMode = 0;
    Frame(W / 2, H / 2);
    // the Exit tab, under Find, ends the loop
    int iExitY = pEngine->iInterfHeight - 24 - 17 * 10 + 8;
    Frame(iTabX, iExitY);
    Tap(0, SDL_BUTTON_LEFT);
    Frame(iTabX, iExitY);
    EXPECT_EQ(pEngine->bQuit, 1);
    pEngine->bQuit = 0;
}

// The Sun tab (the eighth row): what its fields hold moves the sun at once while it follows
// the date; a sun moved on the View page leaves the date
TEST_F(Interf, TheSunPageMovesTheSunByTheDate)
{
    TwEngine* e = pEngine;
    int iTabX = 80, iRow8 = e->iInterfHeight - 24 - 17 * 8 + 8, iRow2 = e->iInterfHeight - 24 - 34 + 8;
    if (!e->bInterface) {
        Tap(SDL_SCANCODE_ESCAPE);
        Frame(W / 2, H / 2);
    }
    Frame(iTabX, iRow8);
    Tap(0, SDL_BUTTON_LEFT);
    Frame(iTabX, iRow8);
    ASSERT_TRUE(twInterf_IsPage(twStrings_Get(108)));
    TwSunPlace saved = e->sunPlace;
    e->sunPlace = {1, 2026, 6, 21, 15, 0, 51.48f, 0, 1, 0}; // as the drop-down leaves it
    Frame(W / 2, H / 2);
    Frame(W / 2, H / 2);
    EXPECT_EQ(e->sunPlace.bFollow, 1);
    EXPECT_NEAR(e->iSunAzimuth, 310, 5); // applied: afternoon, south-west
    e->sunPlace.iHour = 8; // morning: east of south, X positive
    Frame(W / 2, H / 2);
    EXPECT_GT(sin(e->iSunAzimuth * M_PI / 180), 0.5);
    EXPECT_EQ(e->sunPlace.bFollow, 1);
    Frame(iTabX, iRow2);
    Tap(0, SDL_BUTTON_LEFT);
    Frame(iTabX, iRow2);
    ASSERT_TRUE(twInterf_IsPage(twStrings_Get(101)));
    e->iSunAltitudeWanted = 30;
    Frame(W / 2, H / 2);
    EXPECT_EQ(e->sunPlace.bFollow, 0);
    EXPECT_EQ(e->iSunAltitudeWanted, 30);
    e->sunPlace = saved;
}

// Every page is there, and every button's text is a command, or one whose feature comes
// later: a button whose text the commands don't know does nothing when pressed
TEST_F(Interf, EveryPageIsBuiltAndEveryButtonIsACommand)
{
    std::vector<std::string> pages;
    for (int iId : {100, 101, 102, 103, 104, 105, 106, 108, 109})
        pages.push_back(twStrings_Get(iId));
    pages.push_back("LAYERSRAD");
    pages.push_back("LAYERSCLASSES");
    pages.push_back(TW_DEV_PAGE);
    std::vector<std::string> commands;
    for (int iId : {100, 101, 102, 103, 104, 105, 106, 107, 108, 109, 112, 116, 117, 204, 205, 206, 240, 241, 540, 559,
                    560, 571, 572})
        commands.push_back(twStrings_Get(iId));
    commands.push_back(""); // the Find page's and the classes' rows, hidden until there is something
    // the gallery's buttons, and the light button of a machine without programs, which does nothing
    for (int iId : {207, 301, 302, 303, 306, 308, 309, 310})
        commands.push_back(twStrings_Get(iId));
    int iPages = 0;
    for (TwList* p = pInterf->pPageList.pNext; p; p = p->pNext) {
        TwInterfPage* pPage = (TwInterfPage*)p->pData;
        if (std::find(pages.begin(), pages.end(), pPage->szName) == pages.end())
            continue; // the pages the tests above made
        iPages++;
        for (TwList* b = pPage->aLists[TW_LIST_BUTTONS].pNext; b; b = b->pNext) {
            const char* pstrName = ((TwInterfButton*)b->pData)->szName;
            EXPECT_NE(std::find(commands.begin(), commands.end(), pstrName), commands.end()) << pstrName;
        }
    }
    EXPECT_EQ(iPages, (int)pages.size());
}

// F4 keeps the view with a green flash and writes the gallery to Temp; Shift+R arms a
// recording, clicks run and close a clip; the idle timer starts play and a key stops it
TEST_F(Interf, GalleryKeysRecordKeepAndPlay)
{
    std::string path = twHarness_Dir() + "Temp/Gallery";
    mkdir((twHarness_Dir() + "Temp").c_str(), 0755);
    twGallery_Free();
    pEngine->bInterface = 0;
    pEngine->fInterfSlideDir = 0;
    Tap(SDL_SCANCODE_F4);
    Frame(W / 2, H / 2);
    EXPECT_EQ(twGallery_GetNumItems(), 1);
    EXPECT_EQ(pEngine->vNoteColor[1], 1.0f);
    EXPECT_EQ(pEngine->bUpdateGalleryImage, 1);
    EXPECT_FALSE(twHarness_ReadFile(path).empty());
    Key(SDL_SCANCODE_LSHIFT, 1);
    Tap(SDL_SCANCODE_R);
    Frame(W / 2, H / 2);
    Key(SDL_SCANCODE_LSHIFT, 0);
    ASSERT_EQ(twGallery_IsRecording(), 1);
    Tap(0, SDL_BUTTON_LEFT);
    Frame(W / 2, H / 2);
    EXPECT_EQ(twGallery_IsRecPaused(), 0);
    for (int i = 0; i < 3; i++)
        twGallery_Update(0.05f);
    Tap(0, SDL_BUTTON_LEFT);
    Frame(W / 2, H / 2);
    EXPECT_EQ(twGallery_GetNumItems(), 2); // the pause closed a clip, and the next is armed
    EXPECT_EQ(twGallery_IsRecording(), 1);
    Tap(SDL_SCANCODE_ESCAPE); // the panel coming up stops the recording
    Frame(W / 2, H / 2);
    EXPECT_EQ(twGallery_IsRecording(), 0);
    pEngine->bInterface = 0;
    pEngine->fInterfSlideDir = 0;
    // left alone past the limit, the viewer plays its gallery
    pEngine->bPlayWhenIdle = 1;
    pEngine->fIdleTime = pEngine->fIdleLimit + 1;
    Frame(W / 2, H / 2);
    EXPECT_EQ(twGallery_IsPlaying(), 1);
    Tap(SDL_SCANCODE_P);
    Frame(W / 2, H / 2);
    EXPECT_EQ(twGallery_IsPlaying(), 0);
    pEngine->bPlayWhenIdle = 0;
    twGallery_Free();
}

// ---------------------------------------------------------------------------------------------
// With a model: the element pick and the light page of an opened copy
// ---------------------------------------------------------------------------------------------

// A frame as the main loop makes it: the update (the swap, and the pick after it), then the
// draw and the keys
static void LoopFrame(void)
{
    pEngine->fTimeInLevel = pEngine->fTimeRunning = 1;
    twEngine_Update();
    Interf::Frame(W / 2, H / 2);
}

// I turns the pick on; the element under the cross is told, a click keeps it (glazed in
// amber where it is drawn), and a click on the sky lets it go
TEST_F(Interf, AnElementIsPickedUnderTheCrossAndTheSkyLetsItGo)
{
    ASSERT_EQ(twEngine_Load(twTest_MakeCopy("Picked.exe", twSample_SmallHouse()).c_str()), 1);
    pEngine->bInterface = 0;
    pEngine->fInterfSlideDir = 0;
    pCam->bWalk = 0; // the walker would fall while the frames run
    Tap(SDL_SCANCODE_I);
    LoopFrame();
    ASSERT_EQ(pEngine->bElementPick, 1);
    LoopFrame();
    // the model's camera looks at the wall (the second element) through the middle
    ASSERT_EQ(pEngine->iTrackedElement, 1);
    char aszLines[TW_PICK_LINES][TW_PICK_LINE_SIZE];
    ASSERT_EQ(twWorld_PickedText(1, 0, aszLines), 5); // no side file: the five of the model
    EXPECT_STREQ(aszLines[0], "Element\t2 / 5");
    EXPECT_STREQ(aszLines[1], "Type\tWall");
    EXPECT_STREQ(aszLines[2], "Layer\tGround floor");
    EXPECT_STREQ(aszLines[3], "Triangles\t12");
    EXPECT_STREQ(aszLines[4], "Size\t4.00 x 0.20 x 3.00 m");
    Tap(0, SDL_BUTTON_LEFT);
    LoopFrame();
    EXPECT_EQ(pEngine->iPickedElement, 1);
    twEngine_Draw();
    uint8_t aucPixel[4];
    glReadPixels(W / 2 + 20, H / 2 + 20, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, aucPixel);
    EXPECT_GT(aucPixel[0], aucPixel[2] + 60) << "amber over the wall";
    // up at the sky: nothing is tracked, and a click there lets the pick go
    float fPitch = pCam->fPitch, afDir[3];
    twCamera_DirFromAngles(80, pCam->fYaw, afDir);
    pCam->fPitch = afDir[1] > 0 ? 80.0f : -80.0f;
    LoopFrame();
    LoopFrame();
    EXPECT_EQ(pEngine->iTrackedElement, -1);
    EXPECT_EQ(pEngine->iPickedElement, 1);
    Tap(0, SDL_BUTTON_LEFT);
    LoopFrame();
    EXPECT_EQ(pEngine->iPickedElement, -1);
    EXPECT_EQ(twWorld_PickedText(-1, 0, aszLines), 0);
    // M takes over from the pick, and the panel ends both
    Tap(SDL_SCANCODE_M);
    LoopFrame();
    EXPECT_EQ(pEngine->bElementPick, 0);
    EXPECT_EQ(pEngine->bMeasureMode, 1);
    Tap(SDL_SCANCODE_M);
    LoopFrame();
    pCam->fPitch = fPitch;
}

// The Light page's button of a text, or null where the page has none
static TwInterfButton* LightButton(int iId)
{
    for (TwList* p = pInterf->pPageList.pNext; p; p = p->pNext) {
        TwInterfPage* pPage = (TwInterfPage*)p->pData;
        if (strcmp(pPage->szName, twStrings_Get(102)))
            continue;
        for (TwList* b = pPage->aLists[TW_LIST_BUTTONS].pNext; b; b = b->pNext)
            if (!strcmp(((TwInterfButton*)b->pData)->szName, twStrings_Get(iId)))
                return (TwInterfButton*)b->pData;
    }
    return nullptr;
}

// Shown: 1, hidden: 0, none of that text: -1
static int Shown(int iId)
{
    TwInterfButton* pButton = LightButton(iId);
    return pButton ? !pButton->bHidden : -1;
}

// A copy opens with the Light page as its light stands: none, start; part way, light the
// view or continue; complete, nothing to press. The part-lit copy continued from the page
// ends with the bytes of a job that ran whole, though the whole one was the process's
// first and ran after frames had been drawn.
TEST_F(Interf, ACopyOpensWithItsLightStateAndAPartLitOneContinuesToTheWhole)
{
    std::string temp = twHarness_Dir() + "Temp/";
    mkdir(temp.c_str(), 0755);
    std::vector<std::string> files;
    for (const char* pstrFile : {"LightInit.bin", "LightSort.bin", "LightEq.bin", "LightS.bin", "LightM.bin"})
        files.push_back(temp + pstrFile);
    TwExportModel model = twSample_SmallHouse();
    std::string unlit = twTest_MakeCopy("Unlit.exe", model);
    ASSERT_EQ(pEngine->bRadiosity, 1);
    ASSERT_EQ(twEngine_Load(unlit.c_str()), 1);
    pWorld->iLightQuality = 0;
    ASSERT_EQ(twEngine_PrepareLight(), 1);
    twEngine_RunLight(0);
    ASSERT_EQ(twWorld_LightComplete(), 1);
    std::string whole = twHarness_ReadFile(temp + "LightS.bin") + twHarness_ReadFile(temp + "LightM.bin");
    std::string complete = twTest_MakeCopy("Complete.exe", model, files);
    ASSERT_EQ(twEngine_Load(unlit.c_str()), 1);
    ASSERT_EQ(twEngine_PrepareLight(), 1);
    pCam->bWalk = 0;
    LoopFrame(); // the camera's matrices, which decide what the view sees
    twEngine_RunLight(1);
    ASSERT_EQ(twWorld_LightComplete(), 0) << "the view sees only part of the house";
    std::string partial = twTest_MakeCopy("Partial.exe", model, files);

    ASSERT_EQ(twEngine_Load(unlit.c_str()), 1);
    EXPECT_TRUE(twInterf_IsPage(twStrings_Get(102)));
    EXPECT_EQ(Shown(204), 0);
    EXPECT_EQ(Shown(206), 1);
    EXPECT_EQ(Shown(205), -1);
    ASSERT_EQ(twEngine_Load(complete.c_str()), 1);
    EXPECT_EQ(Shown(204), 0);
    EXPECT_EQ(Shown(205), 0);
    EXPECT_EQ(Shown(206), -1);
    ASSERT_EQ(twEngine_Load(partial.c_str()), 1);
    EXPECT_EQ(Shown(204), 1);
    EXPECT_EQ(Shown(205), 1);
    unsigned uiLit = 0, uiAll = 0;
    ASSERT_EQ(sscanf(pWorld->szLightSurfaces, "%u / %u", &uiLit, &uiAll), 2) << pWorld->szLightSurfaces;
    EXPECT_GT(uiLit, 0u);
    EXPECT_LT(uiLit, uiAll);
    EXPECT_EQ(sscanf(pWorld->szLightVerts, "%u / %u", &uiLit, &uiAll), 2) << pWorld->szLightVerts;

    // continued through the panel: the pointer on the button, a click
    pEngine->bInterface = 1;
    pEngine->fInterfSlideDir = 0;
    TwInterfButton* pContinue = LightButton(205);
    int x = pContinue->x + pContinue->iWidth / 2, y = pContinue->y + pContinue->iHeight / 2;
    Frame(x, y);
    ASSERT_STREQ(twInterf_GetButtonHit(), twStrings_Get(205));
    Tap(0, SDL_BUTTON_LEFT);
    Frame(x, y);
    EXPECT_EQ(twWorld_LightComplete(), 1);
    EXPECT_EQ(Shown(205), 0);
    EXPECT_TRUE(whole == twHarness_ReadFile(temp + "LightS.bin") + twHarness_ReadFile(temp + "LightM.bin"));
    twWorld_SetLightAbortCallback(nullptr);
    twWorld_SetLightProgressCallback(nullptr);
    pEngine->bInterface = 0;
    pEngine->fInterfSlideDir = 0;
}

// The developers' keys and views: the physics view draws the collision triangles where the
// wall stands, Z with F5 opens a copy at once, Z with the arrows moves the selected luxel
// within its surface, and the Transparency switch leaves the glass out
TEST_F(Interf, DevViewsAndKeysTakeEffect)
{
    std::string copy = twTest_MakeCopy("Dev.exe", twSample_SmallHouse());
    twTest_StubZenity(copy, 0);
    ZTap(SDL_SCANCODE_F5);
    Frame(W / 2, H / 2);
    twTest_StubZenity("", -1);
    ASSERT_STREQ(pEngine->szModelPath, copy.c_str());
    pEngine->bInterface = 0;
    pEngine->fInterfSlideDir = 0;
    pCam->bWalk = 0;
    LoopFrame();
    // the wall's faces in the physics view's shade of a face turned sideways
    auto Shaded = [](void) {
        std::vector<uint8_t> pixels(21 * 21 * 4);
        glReadPixels(W / 2 - 10, H / 2 - 10, 21, 21, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        int iShaded = 0;
        for (size_t i = 0; i < pixels.size(); i += 4)
            iShaded += abs(pixels[i] - 49) < 4 && abs(pixels[i + 1] - 89) < 4 && abs(pixels[i + 2] - 62) < 4;
        return iShaded;
    };
    int iBackground = pEngine->iBackgroundWanted;
    pEngine->iBackgroundWanted = 2; // a plain grey, cleared each frame
    twEngine_ApplySettings();
    pDev->bActive = 1;
    pDev->iSystem = TW_DEV_SYSTEM_PHYSICS;
    twEngine_Draw();
    EXPECT_GT(Shaded(), 21 * 21 / 2);
    pDev->iSystem = 0;
    twEngine_Draw();
    EXPECT_EQ(Shaded(), 0);
    pDev->bActive = 0;
    pEngine->iBackgroundWanted = iBackground;
    twEngine_ApplySettings();

    // the glass over the wall is the second pass
    std::vector<uint8_t> with(W * H * 4), without(W * H * 4);
    twEngine_Draw();
    glReadPixels(0, 0, W, H, GL_RGBA, GL_UNSIGNED_BYTE, with.data());
    pEngine->bTransparency = 0;
    twEngine_Draw();
    glReadPixels(0, 0, W, H, GL_RGBA, GL_UNSIGNED_BYTE, without.data());
    pEngine->bTransparency = 1;
    EXPECT_TRUE(with != without);

    // the luxel of a selected surface, clamped to it; nothing moves without dev mode
    pWorld->iLightQuality = 2; // luxels enough on a side
    ASSERT_EQ(twEngine_PrepareLight(), 1);
    uint32_t i = 0;
    for (uint32_t k = 1; k < pWorld->uiNumSurfaces; k++)
        if (pWorld->ppSurfaces[k]->usLuxelsV > pWorld->ppSurfaces[i]->usLuxelsV)
            i = k;
    const TwSurface* S = pWorld->ppSurfaces[i];
    ASSERT_GE(S->usLuxelsV, 4) << "quality " << pWorld->iLightQuality;
    pWorld->iCurrentSurface = (int)i;
    pWorld->usSampleU = pWorld->usSampleV = 0;
    ZTap(SDL_SCANCODE_RIGHT);
    Frame(W / 2, H / 2);
    EXPECT_EQ(pWorld->usSampleU, 0);
    pEngine->bDevMode = 1;
    ZTap(SDL_SCANCODE_RIGHT);
    Frame(W / 2, H / 2);
    ZTap(SDL_SCANCODE_LEFT);
    Frame(W / 2, H / 2);
    ZTap(SDL_SCANCODE_LEFT);
    Frame(W / 2, H / 2);
    EXPECT_EQ(pWorld->usSampleU, 0);
    Key(SDL_SCANCODE_LSHIFT, 1);
    ZTap(SDL_SCANCODE_UP);
    Frame(W / 2, H / 2);
    ZTap(SDL_SCANCODE_UP);
    Frame(W / 2, H / 2);
    Key(SDL_SCANCODE_LSHIFT, 0);
    EXPECT_EQ(pWorld->usSampleV, S->usLuxelsV - 1);
    ZTap(SDL_SCANCODE_DOWN);
    Frame(W / 2, H / 2);
    EXPECT_EQ(pWorld->usSampleV, S->usLuxelsV - 2);
    pEngine->bDevMode = 0;
    pWorld->iCurrentSurface = -1;
}
