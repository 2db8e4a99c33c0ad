// Models opened through the exporter and the live link to their source, on a real window
// with the built ambexport: a save reloads the model where the walker stands, bad files
// leave the open model, Esc stops an export, a light that no longer fits is set aside; the
// recent models' list, the link's back-off, and the side file of what each element is.
#include <GL/glew.h>
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "engine/engine.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "engine/model_link.h"
#include "engine/timer.h"
#include "interface/layers.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "render/render.h"
#include "tests/support.h"
#include "tools/harness/samples.h"
#include "world/world.h"

// A building of three boxes in two groups, which the exporter makes two layers: "ground"
// and "upper"; with bMore a fourth box on the ground
static std::string Obj(int bMore)
{
    std::string obj;
    int iBase = 1;
    auto box = [&](float x0, float y0, float z0, float x1, float y1, float z1) {
        for (int i = 0; i < 8; i++)
            obj += "v " + std::to_string(i & 1 ? x1 : x0) + " " + std::to_string(i & 2 ? y1 : y0) + " " +
                   std::to_string(i & 4 ? z1 : z0) + "\n";
        static const int aiFaces[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
        for (const int* f : aiFaces)
            obj += "f " + std::to_string(iBase + f[0]) + " " + std::to_string(iBase + f[1]) + " " +
                   std::to_string(iBase + f[2]) + " " + std::to_string(iBase + f[3]) + "\n";
        iBase += 8;
    };
    obj += "g ground\n";
    box(-10, -0.2f, -10, 10, 0, 10);
    box(-4, 0, -4, 4, 3, -3.8f);
    if (bMore)
        box(2, 0, 2, 3, 1, 3);
    obj += "g upper\n";
    box(-4, 3, -4, 4, 3.2f, 4);
    return obj;
}

struct Link : ::testing::Test {
    static std::string dir;
    static void SetUpTestSuite()
    {
        ASSERT_EQ(twHarness_StartEngine(320, 240, nullptr), 1);
        dir = twHarness_Dir();
        snprintf(pCore->szProgramDir, TW_PATH_SIZE, "%s/", AMB_BUILD_DIR); // ambexport is there
        ASSERT_EQ(twLink_Init(), 1);
        pCam->bWalk = 0;
    }
    static void TearDownTestSuite() { twEngine_Shutdown(); }

    // The link's frames until the export that runs has ended
    static void Settle(void)
    {
        for (int i = 0; i < 6000 && twLink_IsExporting(); i++) {
            usleep(10000);
            twLink_Update();
        }
    }
    // A save of the source, and the frames until it is on screen again; 1 when it was
    static int SaveAndWait(const std::string& text)
    {
        double dBefore = pLink->dLastReload;
        twHarness_WriteText(dir + "house.obj", text);
        for (int i = 0; i < 6000 && pLink->dLastReload == dBefore; i++) {
            usleep(10000);
            twLink_Update();
        }
        return pLink->dLastReload != dBefore;
    }
    // Opens a file through a stand-in exporter that runs the script given (its output is "$4"),
    // and waits for its end
    static void OpenThroughFake(const std::string& source, const std::string& script)
    {
        std::string fake = dir + "fake/";
        mkdir(fake.c_str(), 0755);
        twHarness_WriteText(fake + "ambexport", "#!/bin/sh\n" + script);
        chmod((fake + "ambexport").c_str(), 0755);
        char szProgramDir[TW_PATH_SIZE];
        snprintf(szProgramDir, sizeof(szProgramDir), "%s", pCore->szProgramDir);
        snprintf(pCore->szProgramDir, TW_PATH_SIZE, "%s", fake.c_str());
        ASSERT_EQ(twLink_Open(source.c_str(), 0), 1);
        Settle();
        snprintf(pCore->szProgramDir, TW_PATH_SIZE, "%s", szProgramDir);
    }
    static int LayerIndex(const char* pstrName)
    {
        for (int i = 0; i < pLayers->iNumLayers; i++)
            if (!strcmp((const char*)twLayers_Find(i) + TW_LAYER_NAME_OFFSET, pstrName))
                return i;
        return -1;
    }
};
std::string Link::dir;

// Opened, the model comes from the exporter, its source heads the recent models and is
// watched; a save reloads it with the walker within a centimetre and a hidden layer hidden
TEST_F(Link, ASaveReloadsTheModelWhereTheWalkerStands)
{
    std::string source = dir + "house.obj";
    twHarness_WriteText(source, Obj(0));
    ASSERT_EQ(twLink_Open(source.c_str(), 0), 1);
    EXPECT_STRNE(twLink_GetStatus(), "");
    Settle();
    ASSERT_EQ(pWorld->bLoaded, 1);
    EXPECT_EQ(pWorld->iNumElements, 2);
    EXPECT_STREQ(pEngine->szModelPath, source.c_str());
    EXPECT_STREQ(pLink->aRecent[0].szPath, source.c_str());
    EXPECT_GE(pLink->aiWatch[0], 0);
    EXPECT_FALSE(twCore_FileExists((dir + "Temp/" TW_LINK_OUTPUT).c_str()));
    EXPECT_TRUE(twCore_FileExists((dir + "Temp/Export.elements").c_str()));
    // the walker somewhere of his own, the upper layer hidden
    float afPlace[3] = {1.25f, 1.7f, -2.5f};
    memcpy(pCam->vPos, afPlace, sizeof(afPlace));
    pCam->fYaw = 33;
    int iUpper = LayerIndex("upper");
    ASSERT_GE(iUpper, 0);
    int32_t iHidden = 0;
    memcpy(twLayers_Find(iUpper) + TW_LAYER_VISIBLE_OFFSET, &iHidden, 4);
    ASSERT_EQ(SaveAndWait(Obj(1)), 1);
    EXPECT_EQ(pWorld->iNumElements, 2); // the new box is part of the ground's element
    for (int i = 0; i < 3; i++)
        EXPECT_NEAR(pCam->vPos[i], afPlace[i], 0.01f);
    EXPECT_FLOAT_EQ(pCam->fYaw, 33);
    iUpper = LayerIndex("upper");
    EXPECT_EQ(twLayers_IsVisible(iUpper), 0);
    EXPECT_EQ(twLayers_IsVisible(LayerIndex("ground")), 1);
    // the pick tells what the source calls the element
    char aszLines[TW_PICK_LINES][TW_PICK_LINE_SIZE];
    int iLines = twWorld_PickedText(0, 0, aszLines);
    ASSERT_EQ(iLines, 6); // the name joins the five: an OBJ has no classes, storeys or ids
    EXPECT_STREQ(aszLines[2], "Name\tground");
}

// An empty file, a folder, one the exporter can't read, one that isn't there: a message and
// a line each, and the open model, its file and its name stay; nothing half-made is left
TEST_F(Link, BadFilesLeaveTheOpenModel)
{
    std::string model = dir + "Temp/Export.bin";
    std::string bytes = twHarness_ReadFile(model);
    ASSERT_FALSE(bytes.empty());
    int iElements = pWorld->iNumElements;
    std::string path = pEngine->szModelPath;
    twHarness_WriteText(dir + "empty.ifc", "");
    twHarness_WriteText(dir + "broken.ifc", "ISO-10303-21;\nthis is no building\n");
    mkdir((dir + "folder.ifc").c_str(), 0755);
    for (const char* pstrName : {"empty.ifc", "folder.ifc", "broken.ifc", "gone.ifc"}) {
        pEngine->fMessageTime = 0;
        twLink_Open((dir + pstrName).c_str(), 0);
        Settle();
        EXPECT_EQ(pEngine->iMessageKind, TW_MESSAGE_TEXT) << pstrName;
        EXPECT_GT(pEngine->fMessageTime, 0) << pstrName;
        EXPECT_NE(strstr(pEngine->szMessageText, pstrName), nullptr) << pEngine->szMessageText;
        EXPECT_EQ(pWorld->bLoaded, 1);
        EXPECT_EQ(pWorld->iNumElements, iElements);
        EXPECT_EQ(twHarness_ReadFile(model), bytes) << pstrName;
        EXPECT_STREQ(pEngine->szModelPath, path.c_str());
        EXPECT_FALSE(twCore_FileExists((dir + "Temp/" TW_LINK_OUTPUT).c_str()));
    }
    // Esc while the exporter runs: stopped, nothing of it kept
    twHarness_WriteText(dir + "sample.ifc", twHarness_ReadFile(TW_SAMPLE_HOUSE));
    ASSERT_EQ(twLink_Open((dir + "sample.ifc").c_str(), 0), 1);
    twLink_Cancel();
    EXPECT_EQ(twLink_IsExporting(), 0);
    EXPECT_EQ(pWorld->iNumElements, iElements);
    EXPECT_FALSE(twCore_FileExists((dir + "Temp/" TW_LINK_OUTPUT).c_str()));
    EXPECT_FALSE(twCore_FileExists((dir + "Temp/" TW_LINK_OUTPUT ".part").c_str()));
}

// A model the loader refuses after an export brings back what was open, as it was: a copy
// from its own file with the walker where he stood and its hidden layer hidden
TEST_F(Link, AModelTheLoaderRefusesBringsBackTheCopyThatWasOpen)
{
    TwExportModel house = twSample_SmallHouse();
    house.layers = {"Ground", "Roof"};
    house.elements.back().iLayer = 1;
    std::string copy = twTest_MakeCopy("Open.exe", house);
    ASSERT_EQ(twLink_Open(copy.c_str(), 0), 1);
    ASSERT_EQ(pWorld->iModelSource, TW_MODEL_NAMED_PACK);
    twLayers_SetVisible(1, 0);
    twWorld_UpdateHiddenElements();
    const float afPlace[3] = {0.5f, 1.6f, 0.25f};
    memcpy(pCam->vPos, afPlace, sizeof(afPlace));
    // an exporter whose model is damaged
    twHarness_WriteText(dir + "refused.obj", Obj(0));
    OpenThroughFake(dir + "refused.obj", "printf 'AMB damaged' > \"$4\"\n");
    EXPECT_TRUE(twTest_LogHas("!twWorld_LoadModel : '" + dir + "refused.obj'\n"));
    ASSERT_EQ(pWorld->bLoaded, 1);
    EXPECT_EQ(pWorld->iModelSource, TW_MODEL_NAMED_PACK);
    EXPECT_STREQ(pWorld->szModelPath, copy.c_str());
    EXPECT_EQ(pWorld->iNumElements, (int)house.elements.size());
    EXPECT_EQ(twLayers_IsVisible(1), 0);
    EXPECT_EQ(pWorld->bAnyHiddenElements, 1);
    for (int i = 0; i < 3; i++)
        EXPECT_FLOAT_EQ(pCam->vPos[i], afPlace[i]);
    EXPECT_NE(strstr(pEngine->szMessageText, "refused.obj"), nullptr) << pEngine->szMessageText;

    // the reason is the exporter's error line, never a warning it printed after it
    OpenThroughFake(dir + "refused.obj", "echo 'progress 0.5'\necho 'error the file is cut short'\n"
                                         "echo 'warning: a texture is missing' >&2\nexit 1\n");
    std::string expected = std::string(twStrings_Get(TW_LINK_STR_NOT_OPENED)) + " refused.obj\nthe file is cut short";
    EXPECT_STREQ(pEngine->szMessageText, expected.c_str());
    EXPECT_STREQ(pWorld->szModelPath, copy.c_str());
}

#ifdef AMB_TEST_HOOKS
TEST_F(Link, ALinkWithoutMemorySaysSo)
{
    TwLink* pKept = pLink;
    pLink = nullptr;
    twMem_FailNamed("pLink");
    EXPECT_EQ(twLink_Init(), 0);
    twMem_FailNamed(nullptr);
    pLink = pKept;
    EXPECT_TRUE(twTest_LogHas("!malloc : pLink\n"));
}
#endif

// An IFC building opened through the IFC engine: its site's place becomes the sun's, and the
// side file carries its classes
TEST_F(Link, AnIfcBuildingBringsItsSiteToTheSun)
{
    twHarness_WriteText(dir + "far.ifc", twSample_IfcBuilding("IFC4", 500000, 5200000));
    ASSERT_EQ(twLink_Open((dir + "far.ifc").c_str(), 0), 1);
    Settle();
    ASSERT_EQ(pWorld->iNumElements, 5);
    EXPECT_NEAR(pEngine->sunPlace.fLatitude, 48.1333f, 1e-3f);
    EXPECT_NEAR(pEngine->sunPlace.fLongitude, 11.5f, 1e-3f);
    EXPECT_FLOAT_EQ(pEngine->sunPlace.fUtcOffset, 1.0f);
    EXPECT_TRUE(twTest_LogHas("The sun stands over the site: 48.1333 north, 11.5000 east\n"));
    // its next export waits ready, and a save goes through it
    twLink_Update();
    ASSERT_NE(pLink->iWaitingPid, 0);
    int iWaiting = pLink->iWaitingPid;
    double dBefore = pLink->dLastReload;
    twHarness_WriteText(dir + "far.ifc", twSample_IfcBuilding("IFC4", 500010, 5200000));
    for (int i = 0; i < 6000 && pLink->dLastReload == dBefore; i++) {
        usleep(10000);
        twLink_Update();
    }
    ASSERT_NE(pLink->dLastReload, dBefore);
    EXPECT_EQ(pWorld->iNumElements, 5);
    EXPECT_DOUBLE_EQ(pWorld->place.adMoved[0], 500000.0);
    EXPECT_TRUE(twTest_LogHas("far.ifc' again: it was saved\n"));
    EXPECT_TRUE(twTest_LogHas("The export waiting ready takes it\n"));
    twLink_Update();
    EXPECT_NE(pLink->iWaitingPid, 0);
    EXPECT_NE(pLink->iWaitingPid, iWaiting);
    // the link switched off ends the one waiting
    twLink_SetLive(0);
    twLink_Update();
    EXPECT_EQ(pLink->iWaitingPid, 0);
    twLink_SetLive(1);
}

// Two IFC files opened together make one model, both watched and kept as one recent entry; a
// save of one reloads it with the other read from its kept stream; a file of the set that is
// missing is left out with a message and the other opens
TEST_F(Link, SeveralFilesOpenTogetherAndASaveOfOneReloadsIt)
{
    std::string west = dir + "west.ifc", east = dir + "east.ifc";
    twHarness_WriteText(west, twSample_IfcBuilding("IFC4", 0, 0, 0, 300000, 5000000));
    twHarness_WriteText(east, twSample_IfcBuilding("IFC4", 0, 0, 100, 300100, 5000050));
    ASSERT_EQ(twLink_Open((west + "\t" + east).c_str(), 0), 1);
    Settle();
    ASSERT_EQ(pWorld->iNumElements, 10);
    EXPECT_GE(LayerIndex("east / Upper floor"), 0);
    EXPECT_STREQ(pLink->szSource, (west + "\t" + east).c_str());
    EXPECT_STREQ(pLink->aRecent[0].szPath, pLink->szSource);
    EXPECT_NE(strstr(pLink->aRecent[0].szLabel, "west.ifc +1"), nullptr) << pLink->aRecent[0].szLabel;
    EXPECT_GE(pLink->aiWatch[0], 0);
    EXPECT_GE(pLink->aiWatch[1], 0);
    // the set comes back with Temp's model: its side file names both
    EXPECT_STREQ(pWorld->szInfoSource, pLink->szSource);
    // east moves 10 m east; west comes from what its engine said last
    double dBefore = pLink->dLastReload;
    twHarness_WriteText(east, twSample_IfcBuilding("IFC4", 10, 0, 100, 300100, 5000050));
    for (int i = 0; i < 6000 && pLink->dLastReload == dBefore; i++) {
        usleep(10000);
        twLink_Update();
    }
    ASSERT_NE(pLink->dLastReload, dBefore);
    ASSERT_EQ(pWorld->iNumElements, 10);
    float fEastWall = 1e9f, fWestWall = 1e9f;
    for (int e = 0; e < pWorld->iNumElements; e++) {
        const TwElementInfo* pInfo = twWorld_GetElementInfo(e);
        if (pInfo && !strcmp(pInfo->apstrFields[1], "IfcWall"))
            (strcmp(pInfo->apstrFields[4], "east") ? fWestWall : fEastWall) = pWorld->pElements[e].vMin[0];
    }
    EXPECT_NEAR(fEastWall - fWestWall, 110.0f, 0.01f);
    EXPECT_TRUE(twCore_FileExists((dir + "Temp/" TW_LINK_KEPT).c_str()));
    // east taken away and added back, the walker where he stands and west's upper floor
    // hidden all along; the last file can't be taken away
    float afPlace[3] = {3, 1.7f, 4};
    memcpy(pCam->vPos, afPlace, sizeof(afPlace));
    twLayers_SetVisible(LayerIndex("west / Upper floor"), 0);
    for (int iStep = 0; iStep < 2; iStep++) {
        ASSERT_EQ(iStep ? twLink_ChangeSet(east.c_str(), nullptr) : twLink_ChangeSet(nullptr, east.c_str()), 1);
        Settle();
        EXPECT_EQ(pWorld->iNumElements, iStep ? 10 : 5);
        EXPECT_STREQ(pLink->szSource, iStep ? (west + "\t" + east).c_str() : west.c_str());
        EXPECT_STREQ(pLink->aRecent[0].szPath, pLink->szSource);
        EXPECT_NEAR(pCam->vPos[0], 3.0f, 0.01f);
        EXPECT_EQ(twLayers_IsVisible(LayerIndex(iStep ? "west / Upper floor" : "Upper floor")), 0);
        if (!iStep) {
            EXPECT_EQ(twLink_ChangeSet(nullptr, west.c_str()), 0);
            EXPECT_TRUE(twTest_LogHas("!The last file of the model stays: it can't be taken away\n"));
        }
    }
    // a set with a file the exporter can't read: the other opens, and the message names it
    twHarness_WriteText(east, "no IFC at all");
    ASSERT_EQ(twLink_Open((west + "\t" + east).c_str(), 0), 1);
    Settle();
    EXPECT_EQ(pWorld->iNumElements, 5);
    EXPECT_NE(strstr(pEngine->szMessageText, "east: it is not an IFC file"), nullptr) << pEngine->szMessageText;
    EXPECT_TRUE(twTest_LogHas("!Left out of 'west.ifc +1': east: it is not an IFC file"));
    // a set with a file gone: the other opens, and the message names the one left out
    unlink(east.c_str());
    ASSERT_EQ(twLink_Open((west + "\t" + east).c_str(), 0), 1);
    Settle();
    EXPECT_EQ(pWorld->iNumElements, 5);
    EXPECT_NE(strstr(pEngine->szMessageText, "east.ifc"), nullptr) << pEngine->szMessageText;
}

// A light that still fits stays through a reload; one that no longer fits goes into its own
// folder under Temp, whole, with a message
TEST_F(Link, ALightThatNoLongerFitsIsSetAside)
{
    twHarness_WriteText(dir + "house.obj", Obj(0));
    ASSERT_EQ(twLink_Open((dir + "house.obj").c_str(), 0), 1);
    Settle();
    pWorld->iLightQuality = 0;
    ASSERT_EQ(twEngine_PrepareLight(), 1);
    twEngine_RunLight(0);
    ASSERT_EQ(twWorld_LightComplete(), 1);
    ASSERT_EQ(SaveAndWait(Obj(0) + "# saved again\n"), 1);
    EXPECT_EQ(pEngine->bLightLoaded, 1);
    ASSERT_EQ(SaveAndWait(Obj(1)), 1);
    EXPECT_EQ(pEngine->bLightLoaded, 0);
    EXPECT_EQ(pEngine->iMessageKind, TW_MESSAGE_TEXT);
    const char* pstrFolder = strstr(pEngine->szMessageText, "Temp/Set aside/house ");
    ASSERT_NE(pstrFolder, nullptr) << pEngine->szMessageText;
    for (const char* pstrFile : {"LightInit.bin", "LightSort.bin", "LightEq.bin", "LightS.bin", "LightM.bin"}) {
        EXPECT_TRUE(twCore_FileExists((dir + pstrFolder + pstrFile).c_str())) << pstrFile;
        EXPECT_FALSE(twCore_FileExists((dir + "Temp/" + pstrFile).c_str())) << pstrFile;
    }
    twWorld_SetLightAbortCallback(nullptr);
    twWorld_SetLightProgressCallback(nullptr);
}

// A save that rests is exported at once; a file written every 100 ms for a minute is
// exported now and then, less often each time, and never more than a few times
TEST(LinkTimer, ASourceThatNeverRestsIsExportedLessAndLessOften)
{
    TwLinkTimer t = {};
    EXPECT_EQ(twLink_TimerStep(&t, 10.0, 1, 0), TW_LINK_IDLE);
    EXPECT_EQ(twLink_TimerStep(&t, 10.1, 0, 0), TW_LINK_IDLE);
    EXPECT_EQ(twLink_TimerStep(&t, 10.3, 0, 1), TW_LINK_IDLE); // an export runs: it waits
    EXPECT_EQ(twLink_TimerStep(&t, 10.3, 0, 0), TW_LINK_NOW);
    EXPECT_EQ(twLink_TimerStep(&t, 11.0, 0, 0), TW_LINK_IDLE);
    int iExports = 0, iBackOffs = 0;
    double dLastExport = 0, dLongestGap = 0;
    for (double d = 20.0; d < 80.0; d += 0.1) {
        int iStep = twLink_TimerStep(&t, d, 1, 0);
        if (iStep != TW_LINK_IDLE) {
            iExports++;
            iBackOffs += iStep == TW_LINK_NOW_BACKED_OFF;
            if (dLastExport > 0 && d - dLastExport > dLongestGap)
                dLongestGap = d - dLastExport;
            dLastExport = d;
        }
    }
    EXPECT_EQ(iExports, iBackOffs);
    EXPECT_GE(iExports, 3);
    EXPECT_LE(iExports, 5);
    EXPECT_GT(dLongestGap, 20.0);
    // once it rests, the next save is quick again
    EXPECT_EQ(twLink_TimerStep(&t, 81.0, 0, 0), TW_LINK_NOW);
    EXPECT_EQ(twLink_TimerStep(&t, 90.0, 1, 0), TW_LINK_IDLE);
    EXPECT_EQ(twLink_TimerStep(&t, 90.3, 0, 0), TW_LINK_NOW);
}

// The recent models as written; lines no path can be are passed over, five at most, and a
// model that can't be opened is greyed with its reason
TEST_F(Link, RecentModelsAreReadAndGreyedOutWithTheirReason)
{
    twHarness_WriteText(dir + "a.ifc", "ISO");
    // a set of two, one of them gone, can still be opened; one with a relative file is passed over
    std::string text = std::string(TW_RECENT_MAGIC) + "\nlive\t0\n" + dir + "a.ifc\nrelative.ifc\n\n" + dir +
                       "gone.ifc\r\n" + dir + "\n" + dir + "gone.ifc\trelative.ifc\n" + dir + "gone.ifc\t" + dir +
                       "a.ifc\n" + std::string(600, 'x') + "\n/1\n/2\n/3\n";
    ASSERT_EQ(twLink_ReadRecent(text.data(), (int)text.size()), 1);
    EXPECT_EQ(pLink->bLive, 0);
    ASSERT_EQ(pLink->iNumRecent, TW_RECENT_MAX);
    twLink_UpdateRecentStates();
    EXPECT_EQ(pLink->aRecent[0].bMissing, 0);
    EXPECT_EQ(twLink_RecentPath(pLink->aRecent[0].szLabel), std::string(dir + "a.ifc"));
    EXPECT_EQ(pLink->aRecent[1].bMissing, 1);
    EXPECT_NE(strstr(pLink->aRecent[1].szLabel, "(not found)"), nullptr) << pLink->aRecent[1].szLabel;
    EXPECT_EQ(twLink_RecentPath(pLink->aRecent[1].szLabel), nullptr);
    EXPECT_NE(strstr(pLink->aRecent[2].szLabel, "(is a folder)"), nullptr) << pLink->aRecent[2].szLabel;
    EXPECT_EQ(pLink->aRecent[3].bMissing, 0);
    EXPECT_NE(strstr(pLink->aRecent[3].szLabel, "gone.ifc +1"), nullptr) << pLink->aRecent[3].szLabel;
    EXPECT_EQ(twLink_ReadRecent("Ambulon recent 2\n/a\n", 19), 0);
    EXPECT_EQ(pLink->iNumRecent, 0);
    pLink->bLive = 1;
}

// The side file is the model's own only when it names its size and element count; lines
// with fewer fields leave the rest unknown
TEST_F(Link, ASideFileIsReadOnlyForItsOwnModel)
{
    TwExportModel house = twSample_SmallHouse();
    for (size_t i = 0; i < house.elements.size(); i++) {
        house.elements[i].name = "part " + std::to_string(i);
        house.elements[i].sourceClass = i == 1 ? "IfcWall" : "";
        house.elements[i].globalId = "0123456789abcdefABCDEF";
    }
    std::vector<uint8_t> model = twExport_Write(house);
    twHarness_WriteFile(dir + "small.bin", model);
    ASSERT_NE(twWorld_LoadModel(nullptr, (dir + "small.bin").c_str(), 0, pCam, pEngine->szModelInfo,
                                &pEngine->iSunAltitudeWanted, &pEngine->iSunAzimuthWanted, 0, nullptr),
              0);
    std::vector<uint8_t> info = twExport_WriteInfo(house, model.size(), "/models/small.ifc");
    std::string text(info.begin(), info.end());
    ASSERT_EQ(twWorld_ReadElementInfo(text.data(), (int64_t)text.size(), (int64_t)model.size()), 1);
    EXPECT_STREQ(pWorld->szInfoSource, "/models/small.ifc");
    const TwElementInfo* pInfo = twWorld_GetElementInfo(1);
    ASSERT_NE(pInfo, nullptr);
    EXPECT_STREQ(pInfo->apstrFields[0], "part 1");
    EXPECT_STREQ(pInfo->apstrFields[1], "IfcWall");
    EXPECT_STREQ(pInfo->apstrFields[3], "0123456789abcdefABCDEF");
    EXPECT_EQ(twWorld_GetElementInfo(pWorld->iNumElements), nullptr);
    EXPECT_EQ(pWorld->place.bKnown, 1);
    EXPECT_TRUE(isnan(pWorld->place.dLatitude)) << "the house has no site";
    // a file of the first version, without its place line, is read all the same
    size_t uiPlace = text.find("place\t");
    std::string first = "Ambulon elements 1" + text.substr(18, uiPlace - 18) + text.substr(text.find('\n', uiPlace) + 1);
    ASSERT_EQ(twWorld_ReadElementInfo(first.data(), (int64_t)first.size(), (int64_t)model.size()), 1);
    EXPECT_STREQ(twWorld_GetElementInfo(1)->apstrFields[1], "IfcWall");
    EXPECT_EQ(pWorld->place.bKnown, 0);
    // another model's size, one line short, a line too many, another magic, a place line that
    // moves nowhere: none is taken
    std::string shortOne = text.substr(0, text.rfind('\n', text.size() - 2) + 1);
    std::string lost = text.substr(0, uiPlace) + "place\tnan\t0\t0" + text.substr(text.find('\n', uiPlace));
    const std::pair<std::string, int64_t> aBad[] = {{text, (int64_t)model.size() + 1},
                                                    {shortOne, (int64_t)model.size()},
                                                    {text + "extra\n", (int64_t)model.size()},
                                                    {"Ambulon elements 3" + text.substr(18), (int64_t)model.size()},
                                                    {lost, (int64_t)model.size()}};
    for (const auto& bad : aBad) {
        EXPECT_EQ(twWorld_ReadElementInfo(bad.first.data(), (int64_t)bad.first.size(), bad.second), 0);
        EXPECT_EQ(twWorld_GetElementInfo(0), nullptr);
    }
    // a line of the name alone
    size_t uiAt = text.find("part 0");
    std::string bare = text.substr(0, uiAt) + "only a name" + text.substr(text.find('\n', uiAt));
    ASSERT_EQ(twWorld_ReadElementInfo(bare.data(), (int64_t)bare.size(), (int64_t)model.size()), 1);
    EXPECT_STREQ(twWorld_GetElementInfo(0)->apstrFields[0], "only a name");
    EXPECT_STREQ(twWorld_GetElementInfo(0)->apstrFields[2], "");
}
