// The engine's own steps on a real window: settings that take effect, opening a
// stand-alone copy as the model (by path and through the file dialog), and the pending
// action that does it.
#include <GL/glew.h>
#include <gtest/gtest.h>
#include <math.h>
#include <unistd.h>
#include <stdlib.h>
#include <string.h>
#include <dirent.h>
#include <sys/stat.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "platform/image.h"
#include "platform/ogl.h"
#include "render/render.h"
#include "tests/support.h"
#include "tools/harness/samples.h"
#include "world/world.h"

struct Engine : ::testing::Test {
    static std::string dir;
    static std::string path;

    static void SetUpTestSuite()
    {
        twHarness_StartGl(320, 240);
        dir = twHarness_Dir();
        path = getenv("PATH") ? getenv("PATH") : "";
        twStrings_Init();
        ASSERT_EQ(twStrings_ImportBin((std::string(AMB_BUILD_DIR) + "/Data/Strings/Strings.bin").c_str()), 1);
        ASSERT_EQ(twEngine_InitEngine(), 1);
        ASSERT_EQ(twEngine_InitCamera(), 1);
        ASSERT_EQ(twEngine_InitLayers(), 1);
        ASSERT_EQ(twEngine_InitWorld(), 1);
    }
    static void TearDownTestSuite()
    {
        setenv("PATH", path.c_str(), 1);
        twEngine_Shutdown(); // the whole list, down to the core
    }

    // a stand-alone copy: a program with the model in its pack
    static std::string MakeCopy(const std::string& name, const TwExportModel& model)
    {
        std::string modelPath = dir + "Export.bin";
        twExport_WriteFile(model, modelPath);
        twHarness_WriteText(dir + "bare", "program");
        twTest_MakePack(dir + name, dir + "bare", {modelPath});
        return dir + name;
    }

    // a zenity on PATH that prints a path (or fails with the given status)
    static void StubZenity(const std::string& output, int iStatus)
    {
        std::string bin = dir + "bin";
        mkdir(bin.c_str(), 0755);
        twHarness_WriteText(bin + "/zenity",
                            "#!/bin/sh\necho '" + output + "'\nexit " + std::to_string(iStatus) + "\n");
        chmod((bin + "/zenity").c_str(), 0755);
        setenv("PATH", (bin + ":" + path).c_str(), 1);
    }
};
std::string Engine::dir;
std::string Engine::path;

TEST_F(Engine, StartsEmptyWithEveryMode)
{
    EXPECT_EQ(pWorld->bLoaded, 0);
    EXPECT_EQ(pEngine->bStandAlone, 0);
    EXPECT_EQ(pEngine->uiHostFiles & TW_HOST_WINDOWS, 0u); // the test folder has no Ambulon.exe
    EXPECT_STREQ(pEngine->szVersion, "2.1");
    EXPECT_STREQ(pEngine->apszStereoModes[3], "Quad buffered");
    EXPECT_STREQ(pEngine->apszBackgrounds[4], twStrings_Get(TW_STR_BACKGROUND_BLACK + 3));
    EXPECT_EQ(pEngine->iNumRenderModes, 6); // programs compiled: the shaded modes and the light
    EXPECT_EQ(pEngine->bNoShaders, 0);
    EXPECT_TRUE(twTest_LogHas("Number of render modes = 6\n"));
    EXPECT_STREQ(pEngine->apszRenderModes[0], twStrings_Get(TW_STR_MODE_LIT));
    EXPECT_TRUE(twTest_LogHas("Launching application only\n"));
    EXPECT_FLOAT_EQ(pCam->vPos[0], -4.0f);
    EXPECT_FLOAT_EQ(pCam->fYaw, 315);
    EXPECT_STREQ(pSunCam->szName, "suncam");
    EXPECT_EQ(memcmp(pCam2, pCam, offsetof(TwCamera, mProjection)), 0);
}

TEST_F(Engine, SettingsTakeEffectOnlyWhenApplied)
{
    // render mode 3 with two modes on offer (no programs) is held at the last, 1
    twEngine_InitAvailableRenderModes(1);
    pEngine->iRenderMode = -1;
    pEngine->iRenderModeWanted = 3;
    twEngine_ApplySettings();
    EXPECT_EQ(pEngine->iRenderMode, 1);
    EXPECT_EQ(pEngine->iRenderModeWanted, 1);
    // plain colours (last mode): the sun's three controls are locked
    EXPECT_EQ(pEngine->iSunAltitudeState, 2);
    EXPECT_EQ(pEngine->iShadowState, 2);
    pEngine->iUnitsWanted = 1;
    pEngine->iBackgroundWanted = 2;
    pEngine->iSunAltitudeWanted = 30;
    pEngine->iSunUpdate = 0;
    EXPECT_EQ(pEngine->iUnits, 0);
    twEngine_ApplySettings();
    EXPECT_EQ(pEngine->iUnits, 1);
    EXPECT_FLOAT_EQ(pEngine->fUnitScale, -3.28084f);
    EXPECT_STREQ(pEngine->szUnitSuffix, (std::string(" ") + twStrings_Get(TW_STR_FEET_SHORT)).c_str());
    EXPECT_FLOAT_EQ(pEngine->vClearColor[0], 0.8f);
    EXPECT_EQ(pEngine->iSkyMode, 0);
    EXPECT_EQ(pEngine->bClearColor, 1);
    EXPECT_EQ(pEngine->iSunAltitude, 30);
    EXPECT_EQ(pEngine->iSunUpdate, 0); // no sun move in the mode at -1
    pEngine->iBackgroundWanted = 0;
    twEngine_ApplySettings();
    EXPECT_EQ(pEngine->iSkyMode, 2);
    EXPECT_EQ(pEngine->bClearColor, 0);
    twEngine_InitAvailableRenderModes(0);
}

TEST_F(Engine, SettingsRoundTripAndEveryBadFileKeepsWhatWasThere)
{
    std::string file = std::string(twCore_GetUserDir()) + "Temp/Settings.bin";
    mkdir((std::string(twCore_GetUserDir()) + "Temp").c_str(), 0755);
    // saving writes applied values: a wanted change not applied yet isn't saved
    pEngine->iUnits = 1;
    pEngine->iUnitsWanted = 0;
    pEngine->iSunAzimuth = 360;
    pEngine->bShowHints = 0;
    pCam->fFov = 120;
    pCam->bWalk = 1;
    ASSERT_EQ(twEngine_LoadSaveSettings(nullptr, 1), 1);
    std::string bytes = twHarness_ReadFile(file);
    ASSERT_EQ(bytes.size(), 104u);
    EXPECT_EQ(bytes[0], 25);
    pEngine->bShowHints = 1;
    pEngine->iSunAzimuthWanted = 10;
    pCam->fFov = 80;
    pCam->bWalk = 0;
    pEngine->iRenderModeWanted = 4;
    ASSERT_EQ(twEngine_LoadSaveSettings(nullptr, 0), 1);
    EXPECT_EQ(pEngine->iUnitsWanted, 1);
    EXPECT_EQ(pEngine->iSunAzimuthWanted, 360);
    EXPECT_EQ(pEngine->bShowHints, 0);
    EXPECT_FLOAT_EQ(pCam->fFov, 120);
    EXPECT_EQ(pCam->bWalk, 1);
    EXPECT_EQ(pEngine->iRenderModeWanted, 4); // a local file never sets the mode
    // one item out of range (azimuth 361, hints 2, a NaN field of view) keeps its value alone
    std::string bad = bytes;
    int32_t i361 = 361, i2 = 2;
    float fNan = NAN;
    memcpy(&bad[68], &i361, 4);
    memcpy(&bad[4], &i2, 4);
    memcpy(&bad[92], &fNan, 4);
    twHarness_WriteText(file, bad);
    pEngine->iSunAzimuthWanted = 10;
    pEngine->iUnitsWanted = 0;
    ASSERT_EQ(twEngine_LoadSaveSettings(nullptr, 0), 1);
    EXPECT_EQ(pEngine->iSunAzimuthWanted, 10);
    EXPECT_EQ(pEngine->bShowHints, 0);
    EXPECT_FLOAT_EQ(pCam->fFov, 120);
    EXPECT_EQ(pEngine->iUnitsWanted, 1); // the items after the bad ones are read on
    // whole files refused: another version, short, long, a folder; nothing changes
    std::string other = bytes;
    other[0] = 24;
    const std::string aBad[3] = {other, bytes.substr(0, 50), bytes + "x"};
    for (const std::string& content : aBad) {
        twHarness_WriteText(file, content);
        pEngine->iUnitsWanted = 0;
        EXPECT_EQ(twEngine_LoadSaveSettings(nullptr, 0), 0);
        EXPECT_EQ(pEngine->iUnitsWanted, 0);
    }
    EXPECT_TRUE(twTest_LogHas("!version mismatch (expected 25, found 24)\n"));
    unlink(file.c_str());
    mkdir(file.c_str(), 0755);
    EXPECT_EQ(twEngine_LoadSaveSettings(nullptr, 0), 0);
    rmdir(file.c_str());
    // a copy's stream sets the render mode too
    FILE* pStream = fmemopen((void*)bytes.data(), bytes.size(), "rb");
    pEngine->iRenderModeWanted = 4;
    EXPECT_EQ(twEngine_LoadSaveSettings(pStream, 0), 1);
    fclose(pStream);
    EXPECT_EQ(pEngine->iRenderModeWanted, pEngine->iRenderMode);
}

// The files of a folder whose names end so
static std::vector<std::string> FilesEnding(const std::string& folder, const std::string& end)
{
    std::vector<std::string> names;
    if (DIR* pDir = opendir(folder.c_str())) {
        while (dirent* pEntry = readdir(pDir)) {
            std::string name = pEntry->d_name;
            if (name.size() >= end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0)
                names.push_back(folder + name);
        }
        closedir(pDir);
    }
    return names;
}

TEST_F(Engine, ScreenshotsKeepTheFrameAndNeverLeaveHalfAFile)
{
    std::string shots = std::string(twCore_GetUserDir()) + "Screenshots/";
    mkdir(shots.c_str(), 0755);
    glViewport(0, 0, 320, 240);
    glClearColor(0.2f, 0.4f, 0.6f, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_DEPTH_TEST);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, 320, 0, 240, 1, -1);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glColor3f(1, 0, 0);
    twOgl_DrawRect(10, 20, 100, 50, 0);
    std::vector<uint8_t> frame(320 * 240 * 3);
    glReadPixels(0, 0, 320, 240, GL_RGB, GL_UNSIGNED_BYTE, frame.data()); // the reader gives RGB
    // two shots of one second differ by the frame number
    ASSERT_EQ(twEngine_Screenshot(), 1);
    twTimer_Update();
    ASSERT_EQ(twEngine_Screenshot(), 1);
    std::vector<std::string> names = FilesEnding(shots, ".bmp");
    ASSERT_EQ(names.size(), 2u);
    FILE* pFile = fopen(names[0].c_str(), "rb");
    int iWidth = 0, iHeight = 0, iChannels = 0;
    ASSERT_EQ(twBmp_ReadHeader(pFile, &iWidth, &iHeight, &iChannels), 1);
    std::vector<uint8_t> shot(320 * 240 * 3);
    ASSERT_EQ(twBmp_ReadData(pFile, (int)shot.size(), shot.data()), 1);
    fclose(pFile);
    EXPECT_EQ(iWidth * 1000 + iHeight, 320240);
    EXPECT_TRUE(shot == frame);
    EXPECT_TRUE(twTest_LogHas("Screenshot successfully saved\n"));
    // a Screenshots that can't take a file: the shot goes to the data folder
    for (const std::string& name : names)
        unlink(name.c_str());
    rmdir(shots.c_str());
    twHarness_WriteText(shots.substr(0, shots.size() - 1), "not a folder");
    std::string data = twCore_GetDataDir();
    size_t iBefore = FilesEnding(data, ".bmp").size();
    ASSERT_EQ(twEngine_Screenshot(), 1);
    EXPECT_EQ(FilesEnding(data, ".bmp").size(), iBefore + 1);
    // nowhere to write: a failure, and no file or piece of one anywhere
    std::string savedData = data;
    twCore_SetDataDir("/nonexistent/");
    EXPECT_EQ(twEngine_Screenshot(), 0);
    twCore_SetDataDir(savedData.c_str());
    EXPECT_EQ(FilesEnding(data, ".part").size(), 0u);
    for (const std::string& name : FilesEnding(data, ".bmp"))
        unlink(name.c_str());
    unlink(shots.substr(0, shots.size() - 1).c_str());
}

// Shift+F5's picture, twice and four times the window's size in tiles: scaled back down it
// is the plain view, seams and all (a seam shows as a line of wrong pixels at a tile's edge)
TEST_F(Engine, LargeScreenshotsJoinTheirTiles)
{
    std::string copy = MakeCopy("Large.exe", twSample_SmallHouse());
    ASSERT_EQ(twEngine_Load(copy.c_str()), 1);
    twEngine_ApplySettings();
    pCam->bTopView = 0;
    twCamera_UpdateMatrices(pCam, 1);
    for (int i = 0; i < 4; i++)
        twWorld_VisibilitySweep(0, pCam, 0, pEngine->bUseVbo, 0);
    glViewport(0, 0, 320, 240);
    glClearColor(pEngine->vClearColor[0], pEngine->vClearColor[1], pEngine->vClearColor[2], pEngine->vClearColor[3]);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glEnable(GL_DEPTH_TEST);
    twEngine_DrawView(pCam, 320, 240);
    std::vector<uint8_t> plain(320 * 240 * 3);
    glReadPixels(0, 0, 320, 240, GL_RGB, GL_UNSIGNED_BYTE, plain.data());
    std::string shots = std::string(twCore_GetUserDir()) + "Screenshots/";
    mkdir(shots.c_str(), 0755);
    for (int iFactor : {2, 4}) {
        for (const std::string& name : FilesEnding(shots, ".bmp"))
            unlink(name.c_str());
        ASSERT_EQ(twEngine_LargeScreenshot(iFactor), 1);
        std::vector<std::string> names = FilesEnding(shots, ".bmp");
        ASSERT_EQ(names.size(), 1u);
        EXPECT_NE(names[0].find("_x" + std::to_string(iFactor) + ".bmp"), std::string::npos);
        FILE* pFile = fopen(names[0].c_str(), "rb");
        int iWidth = 0, iHeight = 0, iChannels = 0;
        ASSERT_EQ(twBmp_ReadHeader(pFile, &iWidth, &iHeight, &iChannels), 1);
        ASSERT_EQ(iWidth, 320 * iFactor);
        ASSERT_EQ(iHeight, 240 * iFactor);
        std::vector<uint8_t> big((size_t)iWidth * iHeight * 3);
        ASSERT_EQ(twBmp_ReadData(pFile, (int)big.size(), big.data()), 1);
        fclose(pFile);
        // each plain pixel against the mean of its block; the model's edges differ a little,
        // a seam would differ along a whole line
        double dSum = 0;
        int iWorstRow = 0;
        for (int y = 0; y < 240; y++) {
            int iRowBad = 0;
            for (int x = 0; x < 320; x++)
                for (int c = 0; c < 3; c++) {
                    int iMean = 0;
                    for (int dy = 0; dy < iFactor; dy++)
                        for (int dx = 0; dx < iFactor; dx++)
                            iMean += big[((size_t)(y * iFactor + dy) * iWidth + x * iFactor + dx) * 3 + c];
                    int iDiff = abs(iMean / (iFactor * iFactor) - plain[((size_t)y * 320 + x) * 3 + c]);
                    dSum += iDiff;
                    iRowBad += iDiff > 40;
                }
            iWorstRow = iRowBad > iWorstRow ? iRowBad : iWorstRow;
        }
        EXPECT_LT(dSum / (320.0 * 240 * 3), 2.0) << iFactor;
        EXPECT_LT(iWorstRow, 60) << iFactor;
    }
    for (const std::string& name : FilesEnding(shots, ".bmp"))
        unlink(name.c_str());
}

TEST_F(Engine, OpensAStandAloneCopy)
{
    std::string copy = MakeCopy("House.exe", twSample_SmallHouse());
    pEngine->fTimeInLevel = 5;
    ASSERT_EQ(twEngine_Load(copy.c_str()), 1);
    EXPECT_EQ(pWorld->bLoaded, 1);
    EXPECT_EQ(pWorld->iModelSource, 2);
    EXPECT_STREQ(pEngine->szModelPath, copy.c_str());
    EXPECT_STREQ(pEngine->szModelInfo, "Test house");
    EXPECT_EQ(pEngine->iSunAzimuthWanted, 1);
    EXPECT_EQ(pEngine->fTimeInLevel, 0);
    EXPECT_TRUE(twTest_LogHas("twWorld_LoadLight\n  Model succesfully loaded\n"));
    // a copy of an old model puts up the message panel with the loader's status
    TwExportModel old = twSample_SmallHouse();
    old.iVersion = 200;
    std::string oldCopy = MakeCopy("Old.exe", old);
    EXPECT_EQ(twEngine_Load(oldCopy.c_str()), 0);
    EXPECT_FLOAT_EQ(pEngine->fMessageTime, 6.0f);
    EXPECT_EQ(pEngine->iMessageKind, 2);
    EXPECT_TRUE(twTest_LogHas("[error] twEngine_Load\n  !twWorld_LoadModel\n"));
    EXPECT_EQ(pWorld->bLoaded, 0); // the old model went first
    EXPECT_EQ(twEngine_Load((dir + "missing.exe").c_str()), 0);
    EXPECT_EQ(pEngine->iMessageKind, 1);
}

TEST_F(Engine, TheDialogChoosesTheCopy)
{
    std::string copy = MakeCopy("Chosen.exe", twSample_SmallHouse());
    StubZenity(copy, 0);
    pEngine->iPendingStep = 1;
    pEngine->iPendingKind = TW_PENDING_OPEN;
    twEngine_RunPending(pEngine->szPickedPath, &pEngine->iPendingStep, &pEngine->iPendingKind, &pEngine->fMessageTime,
                        &pEngine->iMessageKind);
    EXPECT_EQ(pEngine->iPendingStep, 0);
    EXPECT_EQ(pEngine->iPendingKind, 0);
    EXPECT_STREQ(pEngine->szModelPath, copy.c_str());
    EXPECT_EQ(pWorld->bLoaded, 1);
    // cancelling changes nothing
    StubZenity("", 1);
    EXPECT_EQ(twEngine_Load(nullptr), 0);
    EXPECT_STREQ(pEngine->szModelPath, copy.c_str());
    EXPECT_EQ(pWorld->bLoaded, 1);
    // without zenity the dialog says so and gives nothing
    setenv("PATH", (dir + "nothing-here").c_str(), 1);
    EXPECT_EQ(twEngine_Load(nullptr), 0);
    EXPECT_TRUE(twTest_LogHas("!zenity : not found\n"));
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(pWorld->bLoaded, 1);
}

TEST_F(Engine, TheFrameShowsTheAxesAndTheFlyingMark)
{
    twWorld_Free();
    pEngine->iSkyMode = 0;
    pEngine->bClearColor = 1;
    pEngine->vClearColor[0] = pEngine->vClearColor[1] = pEngine->vClearColor[2] = 0;
    pCam->vPos[0] = 0.05f;
    pCam->vPos[1] = 0.05f;
    pCam->vPos[2] = 0.5f;
    pCam->fPitch = pCam->fYaw = pCam->fRoll = 0;
    pCam->bTopView = 0;
    twCamera_UpdateMatrices(pCam, 1);
    auto CountPixels = [](int x0, int y0, int x1, int y1, int r, int g, int b) {
        std::vector<uint8_t> pixels(320 * 240 * 3);
        glReadPixels(0, 0, 320, 240, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
        int iCount = 0;
        for (int y = y0; y < y1; y++)
            for (int x = x0; x < x1; x++) {
                const uint8_t* p = &pixels[(y * 320 + x) * 3];
                iCount += p[0] == r && p[1] == g && p[2] == b;
            }
        return iCount;
    };
    pCam->bWalk = 0;
    twEngine_Draw();
    EXPECT_GT(CountPixels(0, 0, 320, 240, 255, 0, 0), 5); // the X axis
    EXPECT_GT(CountPixels(0, 0, 320, 240, 0, 255, 0), 5); // the Y axis
    EXPECT_GT(CountPixels(280, 200, 320, 240, 255, 255, 255), 20); // the flying mark, top right
    pCam->bWalk = 1;
    twEngine_Draw();
    EXPECT_EQ(CountPixels(280, 200, 320, 240, 255, 255, 255), 0);
}
