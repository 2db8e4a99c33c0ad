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
#include <set>
#include <vector>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/timer.h"
#include "interface/layers.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "platform/image.h"
#include "platform/ogl.h"
#include "render/render.h"
#include "tests/support.h"
#include "tools/harness/samples.h"
#include "platform/window.h"
#include "world/world.h"

#include <stb_image.h>

struct Engine : ::testing::Test {
    static std::string dir;

    static void SetUpTestSuite()
    {
        twHarness_StartGl(320, 240);
        dir = twHarness_Dir();
        twStrings_Init();
        ASSERT_EQ(twStrings_ImportBin((std::string(AMB_BUILD_DIR) + "/Data/Strings/Strings.bin").c_str()), 1);
        ASSERT_EQ(twEngine_InitEngine(), 1);
        ASSERT_EQ(twEngine_InitCamera(), 1);
        ASSERT_EQ(twEngine_InitLayers(), 1);
        ASSERT_EQ(twEngine_InitWorld(), 1);
    }
    static void TearDownTestSuite()
    {
        twTest_StubZenity("", -1);
        twEngine_Shutdown(); // the whole list, down to the core
    }

};
std::string Engine::dir;

// Before any model, every mode on offer draws the bare background and nothing else: no
// leftover geometry, no GL error, whatever the mode's programs expect to find bound
TEST_F(Engine, AnEmptyStartDrawsTheBackgroundInEveryMode)
{
    ASSERT_EQ(pWorld->bLoaded, 0);
    ASSERT_EQ(pEngine->iNumRenderModes, 6); // programs compiled: the shaded modes and the light
    int iBackground = pEngine->iBackgroundWanted, iMode = pEngine->iRenderModeWanted;
    pEngine->iBackgroundWanted = 2; // a plain colour, so that every pixel is known
    std::vector<uint8_t> pixels(320 * 240 * 4);
    for (int m = 0; m < pEngine->iNumRenderModes; m++) {
        pEngine->iRenderModeWanted = m;
        twEngine_ApplySettings();
        glGetError();
        glViewport(0, 0, 320, 240);
        twEngine_DrawViewAlone(pCam, 320, 240);
        EXPECT_EQ(glGetError(), (GLenum)GL_NO_ERROR) << "mode " << m;
        glReadPixels(0, 0, 320, 240, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        int iOther = 0;
        for (size_t i = 0; i < pixels.size(); i += 4)
            iOther += pixels[i] != pixels[0] || pixels[i + 1] != pixels[1] || pixels[i + 2] != pixels[2];
        EXPECT_EQ(iOther, 0) << "mode " << m;
        EXPECT_NEAR(pixels[0], pEngine->vClearColor[0] * 255, 1) << "mode " << m;
    }
    pEngine->iBackgroundWanted = iBackground;
    pEngine->iRenderModeWanted = iMode;
    twEngine_ApplySettings();
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
    // the picture's choices, in a file of their own; a bad one keeps them as they were
    std::string picture = std::string(twCore_GetUserDir()) + "Temp/Picture.bin";
    pEngine->bSmoothEdges = 0;
    pEngine->iShotFormat = TW_SHOT_BMP;
    ASSERT_EQ(twEngine_LoadSavePicture(1), 1);
    std::string good = twHarness_ReadFile(picture);
    ASSERT_EQ(good.size(), 16u);
    EXPECT_EQ(twHarness_ReadFile(file).size(), 0u) << "Settings.bin is not touched";
    std::string wrongTag = good, outOfRange = good;
    wrongTag[0] = 'X';
    outOfRange[8] = 2;
    for (const std::string& content : {good.substr(0, 15), good + "x", wrongTag, outOfRange}) {
        twHarness_WriteText(picture, content);
        pEngine->bSmoothEdges = 1;
        EXPECT_EQ(twEngine_LoadSavePicture(0), 0);
        EXPECT_EQ(pEngine->bSmoothEdges, 1);
    }
    twHarness_WriteText(picture, good);
    ASSERT_EQ(twEngine_LoadSavePicture(0), 1);
    EXPECT_EQ(pEngine->bSmoothEdges * 10 + pEngine->iShotFormat, TW_SHOT_BMP);
    pEngine->bSmoothEdges = 0; // the software renderer's start
    pEngine->iShotFormat = TW_SHOT_PNG;
    unlink(picture.c_str());
}

// Where the sun stands for a date, a time and a place, checked against what the sky does:
// its noon height at the solstices, sunrise due east at the equator's equinox, a noon sun in
// the north south of the equator, one instant told in two time zones
TEST_F(Engine, TheSunStandsWhereTheSkyPutsIt)
{
    struct Case {
        TwSunPlace place;
        double dAltitude, dAzimuth, dTolerance;
    };
    const Case aCases[] = {
        {{1, 2026, 6, 21, 12, 0, 51.48f, 0, 0, 0}, 90 - 51.48 + 23.44, 180, 1.5},
        {{1, 2026, 12, 21, 12, 0, 51.48f, 0, 0, 0}, 90 - 51.48 - 23.44, 180, 1.5},
        {{1, 2026, 3, 20, 6, 8, 0, 0, 0, 0}, 0, 90, 1.5},
        {{1, 2026, 6, 21, 12, 0, -33.87f, 151.21f, 10, 0}, 90 - 33.87 - 23.44, 0, 2.5},
    };
    for (const Case& c : aCases) {
        double dAlt, dAz;
        twEngine_SunPosition(&c.place, &dAlt, &dAz);
        EXPECT_NEAR(dAlt, c.dAltitude, c.dTolerance) << c.place.fLatitude << " " << c.place.iMonth;
        double dOff = fmod(dAz - c.dAzimuth + 540.0, 360.0) - 180.0;
        EXPECT_NEAR(dOff, 0, c.dTolerance) << c.place.fLatitude << " " << c.place.iMonth;
    }
    TwSunPlace utc = {1, 2026, 9, 3, 9, 30, 40.0f, -3.7f, 0, 0}, madrid = utc;
    madrid.iHour = 11;
    madrid.fUtcOffset = 2;
    double dAlt1, dAz1, dAlt2, dAz2;
    twEngine_SunPosition(&utc, &dAlt1, &dAz1);
    twEngine_SunPosition(&madrid, &dAlt2, &dAz2);
    EXPECT_NEAR(dAlt1, dAlt2, 1e-6);
    EXPECT_NEAR(dAz1, dAz2, 1e-6);
    // the engine's azimuth lights the model from the sun's side of the plan: with true north
    // turned n clockwise from the plan's up, a bearing g is at plan angle g + n, and the sun
    // direction (sin a, cos a) in X and Z is (right, down) on the plan
    for (float fNorth : {0.0f, 30.0f, 90.0f, 271.0f}) {
        for (double g = 0; g < 360; g += 45) {
            int a = twEngine_SunAzimuthInModel(g, fNorth);
            EXPECT_GE(a, 1);
            EXPECT_LE(a, 360);
            double p = (g + fNorth) * M_PI / 180.0, r = a * M_PI / 180.0;
            EXPECT_NEAR(sin(r), sin(p), 0.01) << g << " " << fNorth;
            EXPECT_NEAR(cos(r), -cos(p), 0.01) << g << " " << fNorth;
        }
    }
}

TEST_F(Engine, TheSunFollowsTheDateUntilMovedAndKeepsItsPlace)
{
    TwEngine* e = pEngine;
    TwSunPlace saved = e->sunPlace;
    e->sunPlace = {0, 2026, 6, 21, 15, 0, 51.48f, 0, 1, 0};
    e->iSunAltitudeWanted = 45;
    e->iSunAzimuthWanted = 45;
    EXPECT_EQ(twEngine_ApplySunPlace(), 0); // not following: the sun stays, the status tells
    EXPECT_EQ(e->iSunAltitudeWanted, 45);
    EXPECT_NE(strstr(e->szSunPlaceStatus, "deg high"), nullptr);
    e->sunPlace.bFollow = 1;
    EXPECT_EQ(twEngine_ApplySunPlace(), 1);
    // midsummer in London at three in the afternoon: 54 degrees high in the south-west,
    // which on a plan with north up is left (-X) and down (+Z)
    EXPECT_NEAR(e->iSunAltitudeWanted, 54, 1);
    EXPECT_NEAR(e->iSunAzimuthWanted, 310, 5);
    twEngine_CheckSunFollow();
    EXPECT_EQ(e->sunPlace.bFollow, 1);
    // at night it stands at its lowest, and says so; the 31st of February is its last day
    e->sunPlace.iHour = 23;
    e->sunPlace.iMonth = 2;
    e->sunPlace.iDay = 31;
    twEngine_ApplySunPlace();
    EXPECT_EQ(e->iSunAltitudeWanted, 10);
    EXPECT_NE(strstr(e->szSunPlaceStatus, "below the horizon"), nullptr);
    EXPECT_EQ(e->sunPlace.iDay, 28);
    e->sunPlace.iYear = 2028;
    e->sunPlace.iDay = 31;
    twEngine_ApplySunPlace();
    EXPECT_EQ(e->sunPlace.iDay, 29);
    // a sun moved by hand (or by a kept angle) leaves the date
    e->iSunAzimuthWanted = e->iSunPlaceAzimuth % 360 + 1;
    twEngine_CheckSunFollow();
    EXPECT_EQ(e->sunPlace.bFollow, 0);
    EXPECT_TRUE(twTest_LogHas("it no longer follows the date"));

    // the file: round trip, and each damage refused whole with the place kept
    std::string file = std::string(twCore_GetUserDir()) + "Temp/Sun.bin";
    mkdir((std::string(twCore_GetUserDir()) + "Temp").c_str(), 0755);
    e->sunPlace.bFollow = 1;
    TwSunPlace kept = e->sunPlace;
    ASSERT_EQ(twEngine_LoadSaveSunPlace(nullptr, 0, 1), 1);
    std::string bytes = twHarness_ReadFile(file);
    ASSERT_EQ(bytes.size(), (size_t)TW_SUN_PLACE_SIZE);
    e->sunPlace.fLatitude = 0;
    ASSERT_EQ(twEngine_LoadSaveSunPlace(nullptr, 0, 0), 1);
    EXPECT_EQ(memcmp(&e->sunPlace, &kept, sizeof(kept)), 0);
    std::string month13 = bytes, nan = bytes, tag = bytes;
    int32_t i13 = 13;
    float fNan = NAN;
    memcpy(&month13[12], &i13, 4);
    memcpy(&nan[28], &fNan, 4);
    tag[0] = 'X';
    for (const std::string& bad : {month13, nan, tag, bytes.substr(0, 40), bytes + "x"}) {
        twHarness_WriteText(file, bad);
        e->sunPlace.fLatitude = 7;
        EXPECT_EQ(twEngine_LoadSaveSunPlace(nullptr, 0, 0), 0);
        EXPECT_FLOAT_EQ(e->sunPlace.fLatitude, 7);
    }
    // from a pack the entry's size bounds the read
    std::string packed = bytes + "next entry";
    FILE* pStream = fmemopen((void*)packed.data(), packed.size(), "rb");
    EXPECT_EQ(twEngine_LoadSaveSunPlace(pStream, TW_SUN_PLACE_SIZE, 0), 1);
    fclose(pStream);
    EXPECT_FLOAT_EQ(e->sunPlace.fLatitude, kept.fLatitude);
    unlink(file.c_str());
    e->sunPlace = saved;
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
    twTest_PixelView(320, 240);
    glClearColor(0.2f, 0.4f, 0.6f, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glColor3f(1, 0, 0);
    twOgl_DrawRect(10, 20, 100, 50, 0);
    std::vector<uint8_t> frame(320 * 240 * 3);
    glReadPixels(0, 0, 320, 240, GL_RGB, GL_UNSIGNED_BYTE, frame.data()); // the reader gives RGB
    // a PNG by default, the frame top row first
    ASSERT_EQ(pEngine->iShotFormat, TW_SHOT_PNG);
    ASSERT_EQ(twEngine_Screenshot(), 1);
    std::vector<std::string> pngs = FilesEnding(shots, ".png");
    ASSERT_EQ(pngs.size(), 1u);
    int iPngW = 0, iPngH = 0, iPngChannels = 0;
    uint8_t* pucPng = stbi_load(pngs[0].c_str(), &iPngW, &iPngH, &iPngChannels, 3);
    ASSERT_NE(pucPng, nullptr);
    EXPECT_EQ(iPngW * 1000 + iPngH, 320240);
    int iDiffer = 0;
    for (int y = 0; y < 240; y++)
        iDiffer += memcmp(pucPng + (size_t)y * 320 * 3, frame.data() + (size_t)(239 - y) * 320 * 3, 320 * 3) != 0;
    EXPECT_EQ(iDiffer, 0);
    stbi_image_free(pucPng);
    unlink(pngs[0].c_str());
    // the BMP of the choice; two shots of one second differ by the frame number
    pEngine->iShotFormat = TW_SHOT_BMP;
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
    pEngine->iShotFormat = TW_SHOT_PNG;
}

// Shift+F5's picture, twice and four times the window's size in tiles: scaled back down it
// is the plain view, seams and all (a seam shows as a line of wrong pixels at a tile's edge)
TEST_F(Engine, LargeScreenshotsJoinTheirTiles)
{
    std::string copy = twTest_MakeCopy("Large.exe", twSample_SmallHouse());
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
    pEngine->iShotFormat = TW_SHOT_BMP;
    pEngine->bSmoothEdges = 1; // the tiles go through their multisampled twin
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
    pEngine->iShotFormat = TW_SHOT_PNG;
    pEngine->bSmoothEdges = 0;
}

// Smooth edges reach the frame's view and nothing else: the frame gains the blended colours
// of its edges, and the sweep that follows reads the same ID picture either way
TEST_F(Engine, SmoothEdgesSmoothTheFrameAndLeaveTheSweepAlone)
{
    ASSERT_EQ(twEngine_Load(twTest_MakeCopy("Smooth.exe", twSample_SmallHouse()).c_str()), 1);
    pCam->bTopView = 0;
    twCamera_UpdateMatrices(pCam, 1);
    std::vector<uint8_t> ids[2];
    size_t auiColours[2];
    int bWasSmooth = pEngine->bSmoothEdges;
    int iBackground = pEngine->iBackgroundWanted;
    pEngine->iBackgroundWanted = 2; // a plain colour: the colours counted are the house's
    twEngine_ApplySettings();
    for (int bSmooth = 0; bSmooth < 2; bSmooth++) {
        pEngine->bSmoothEdges = bSmooth;
        for (int i = 0; i < 4; i++)
            twWorld_VisibilitySweep(0, pCam, 0, pEngine->bUseVbo, 0);
        glViewport(0, 0, 320, 240);
        twEngine_Draw();
        std::vector<uint8_t> frame(320 * 240 * 3);
        glReadPixels(0, 0, 320, 240, GL_RGB, GL_UNSIGNED_BYTE, frame.data());
        std::set<uint32_t> colours;
        for (size_t i = 0; i < frame.size(); i += 3)
            colours.insert(frame[i] << 16 | frame[i + 1] << 8 | frame[i + 2]);
        auiColours[bSmooth] = colours.size();
        for (int i = 0; i < 4; i++)
            twWorld_VisibilitySweep(0, pCam, 0, pEngine->bUseVbo, 0);
        const uint8_t* pucIds = (const uint8_t*)twMem_GetTempBuffer(0, 0);
        ids[bSmooth].assign(pucIds, pucIds + 64 * 64 * 4);
    }
    ASSERT_NE(pEngine->pWindowSamples, nullptr);
    EXPECT_GT(auiColours[1], auiColours[0] + 20);
    EXPECT_TRUE(ids[0] == ids[1]);
    pEngine->bSmoothEdges = bWasSmooth;
    pEngine->iBackgroundWanted = iBackground;
    twEngine_ApplySettings();
}

TEST_F(Engine, OpensAStandAloneCopy)
{
    std::string copy = twTest_MakeCopy("House.exe", twSample_SmallHouse());
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
    std::string oldCopy = twTest_MakeCopy("Old.exe", old);
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
    std::string copy = twTest_MakeCopy("Chosen.exe", twSample_SmallHouse());
    twTest_StubZenity(copy, 0);
    pEngine->iPendingStep = 1;
    pEngine->iPendingKind = TW_PENDING_OPEN;
    twEngine_RunPending(pEngine->szPickedPath, &pEngine->iPendingStep, &pEngine->iPendingKind, &pEngine->fMessageTime,
                        &pEngine->iMessageKind);
    EXPECT_EQ(pEngine->iPendingStep, 0);
    EXPECT_EQ(pEngine->iPendingKind, 0);
    EXPECT_STREQ(pEngine->szModelPath, copy.c_str());
    EXPECT_EQ(pWorld->bLoaded, 1);
    // cancelling changes nothing
    twTest_StubZenity("", 1);
    EXPECT_EQ(twEngine_Load(nullptr), 0);
    EXPECT_STREQ(pEngine->szModelPath, copy.c_str());
    EXPECT_EQ(pWorld->bLoaded, 1);
    // without zenity the dialog says so and gives nothing
    setenv("PATH", (dir + "nothing-here").c_str(), 1);
    EXPECT_EQ(twEngine_Load(nullptr), 0);
    EXPECT_TRUE(twTest_LogHas("!zenity : not found\n"));
    twTest_StubZenity("", -1);
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
    int bSmooth = pEngine->bSmoothEdges;
    pEngine->bSmoothEdges = 0; // the axes in their colours, unblended
    twEngine_Draw();
    pEngine->bSmoothEdges = bSmooth;
    EXPECT_GT(CountPixels(0, 0, 320, 240, 255, 0, 0), 5); // the X axis
    EXPECT_GT(CountPixels(0, 0, 320, 240, 0, 255, 0), 5); // the Y axis
    EXPECT_GT(CountPixels(280, 200, 320, 240, 255, 255, 255), 20); // the flying mark, top right
    pCam->bWalk = 1;
    twEngine_Draw();
    EXPECT_EQ(CountPixels(280, 200, 320, 240, 255, 255, 255), 0);
}

// The statistics' draw calls are the frame's own: two identical frames count the same
TEST_F(Engine, TwoIdenticalFramesCountTheSameDrawCalls)
{
    ASSERT_EQ(twEngine_Load(twTest_MakeCopy("Counted.exe", twSample_SmallHouse()).c_str()), 1);
    pEngine->iRenderModeWanted = TW_MODE_WHITE; // edges forced on, each one a draw call
    twEngine_ApplySettings();
    int aiCalls[2];
    for (int i = 0; i < 2; i++) {
        for (int g = 0; g < pWorld->iNumElementGroups; g++)
            pWorld->pElementGroups[g].uiVisibleFrame = pWorld->uiVisibleFrame;
        twEngine_Draw();
        aiCalls[i] = pWorld->iNumDrawCalls;
    }
    EXPECT_GT(aiCalls[0], 0);
    EXPECT_EQ(aiCalls[1], aiCalls[0]);
}

// A light job that finishes takes the panel away, so that the lit model shows; one that
// lights only the view leaves it
TEST_F(Engine, AFinishedLightJobClosesThePanel)
{
    mkdir((dir + "Temp").c_str(), 0755);
    ASSERT_EQ(twEngine_Load(twTest_MakeCopy("Lit.exe", twSample_SmallHouse()).c_str()), 1);
    pWorld->iLightQuality = 0;
    ASSERT_EQ(twEngine_PrepareLight(), 1);
    pEngine->bInterface = 1;
    pEngine->fInterfSlideDir = 0;
    twEngine_RunLight(1);
    if (!twWorld_LightComplete()) {
        EXPECT_EQ(pEngine->fInterfSlideDir, 0.0f);
    }
    twEngine_RunLight(0);
    ASSERT_EQ(twWorld_LightComplete(), 1);
    EXPECT_EQ(pEngine->bInterface, 1);
    EXPECT_LT(pEngine->fInterfSlideDir, 0.0f); // sliding away
    twWorld_SetLightAbortCallback(nullptr);
    twWorld_SetLightProgressCallback(nullptr);
    pEngine->bInterface = 0;
    pEngine->fInterfSlideDir = 0;
}

// A copy whose light is damaged, or belongs to another model, still opens: unlit, with the
// message of a failed file and a log line, and a new light job can start on it
TEST_F(Engine, ACopyWithLightThatDoesNotLoadOpensUnlit)
{
    std::string temp = dir + "Temp/";
    mkdir(temp.c_str(), 0755);
    ASSERT_EQ(twEngine_Load(twTest_MakeCopy("Source.exe", twSample_SmallHouse()).c_str()), 1);
    pWorld->iLightQuality = 0;
    ASSERT_EQ(twEngine_PrepareLight(), 1);
    twEngine_RunLight(0);
    ASSERT_EQ(twWorld_LightComplete(), 1);
    std::vector<std::string> files, damaged;
    for (const char* pstrFile : {"LightInit.bin", "LightSort.bin", "LightEq.bin", "LightS.bin", "LightM.bin"}) {
        files.push_back(temp + pstrFile);
        twHarness_WriteText(dir + pstrFile, "not light at all");
        damaged.push_back(dir + pstrFile);
    }
    TwExportModel other = twSample_SmallHouse();
    other.elements.push_back(twSample_Box(5, 0, 5, 6, 1, 6, 1, 0));
    std::string foreign = twTest_MakeCopy("Foreign.exe", other, files);
    std::string broken = twTest_MakeCopy("Broken.exe", twSample_SmallHouse(), damaged);
    for (const std::string& copy : {foreign, broken}) {
        twHarness_WriteText(dir + TW_LOG_FILE_NAME, "");
        pEngine->fMessageTime = 0;
        ASSERT_EQ(twEngine_Load(copy.c_str()), 1) << copy;
        EXPECT_EQ(pWorld->bLoaded, 1);
        EXPECT_EQ(pEngine->bLightLoaded, 0);
        EXPECT_EQ(pEngine->iRenderModeWanted, TW_MODE_LAMP);
        EXPECT_FLOAT_EQ(pEngine->fMessageTime, 6.0f);
        EXPECT_EQ(pEngine->iMessageKind, 1);
        EXPECT_TRUE(twTest_LogHas("The light of '" + copy + "' is left out: the model runs unlit\n"));
        EXPECT_TRUE(twTest_LogHas("  Model succesfully loaded\n"));
        // a copy's settings that ask for the lit mode get the head lamp: lit draws nothing unlit
        pEngine->iRenderModeWanted = TW_MODE_LIT;
        twEngine_ApplySettings();
        EXPECT_EQ(pEngine->iDrawMode, TW_MODE_LAMP);
        ASSERT_EQ(twEngine_PrepareLight(), 1) << "a new job starts on the unlit copy";
    }
    twWorld_SetLightAbortCallback(nullptr);
    twWorld_SetLightProgressCallback(nullptr);
    pEngine->bInterface = 0;
    pEngine->fInterfSlideDir = 0;
}
