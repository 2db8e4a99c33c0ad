// Publishing on a real window, from the built program as the master: the pack of a copy read
// back entry by entry (24, 25 and 30 entries), the overwrite of the copy the model came
// from, the Mac bundle, and every failure leaving the target as it was.
#include <GL/glew.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "engine/engine.h"
#include "engine/memory.h"
#include "engine/strings.h"
#include "interface/gallery.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "platform/window.h"
#include "tests/support.h"
#include "tools/harness/samples.h"
#include "world/world.h"

struct Entry {
    std::string name;
    std::string bytes;
};

struct Publish : ::testing::Test {
    static std::string dir, data;

    static void SetUpTestSuite()
    {
        TwExportModel house = twSample_SmallHouse();
        ASSERT_EQ(twHarness_StartEngine(640, 400, &house), 1); // the built program is the master
        dir = twHarness_Dir();
        data = std::string(AMB_BUILD_DIR) + "/";
        ASSERT_EQ(pWorld->iModelSource, 3);
    }
    static void TearDownTestSuite() { twEngine_Shutdown(); }

    // The pack behind a program: its entries in order, and the bytes before the first
    static std::vector<Entry> ReadPack(const std::string& path, std::string* pBare = nullptr)
    {
        std::string file = twHarness_ReadFile(path);
        std::vector<Entry> out;
        if (file.size() < 8 || file.compare(file.size() - 4, 4, "TWRS") != 0)
            return out;
        uint32_t uiCount;
        memcpy(&uiCount, file.data() + file.size() - 8, 4);
        size_t uiDir = file.size() - 8 - (size_t)uiCount * sizeof(TwPackEntry);
        for (uint32_t i = 0; i < uiCount; i++) {
            TwPackEntry e;
            memcpy(&e, file.data() + uiDir + i * sizeof(TwPackEntry), sizeof(e));
            out.push_back({e.szName, file.substr(e.uiOffset, e.uiSize)});
            if (i == 0 && pBare)
                *pBare = file.substr(0, e.uiOffset);
        }
        return out;
    }
    static std::string Resource(const char* pstrName)
    {
        int iSize = 0;
        FILE* pFile = twCore_GetResource(pstrName, &iSize);
        std::string bytes(iSize > 0 ? iSize : 0, 0);
        if (pFile) {
            EXPECT_EQ(fread(&bytes[0], 1, bytes.size(), pFile), bytes.size());
            fclose(pFile);
        }
        return bytes;
    }
    // every entry in its place, with the bytes of its source
    static void ExpectPack(const std::string& path, size_t uiCount)
    {
        std::string bare;
        std::vector<Entry> pack = ReadPack(path, &bare);
        ASSERT_EQ(pack.size(), uiCount);
        EXPECT_EQ(bare, Resource("Master"));
        static const char* const apstrNames[] = {
            "Version.bin", "Cursor.tga", "Check.tga", "Cross.tga", "Cross2.tga", "Rec.tga", "Pause.tga", "Gallery.tga",
            "Camera.tga", "Clip.tga", "Null.tga", "Plane.tga", "Flare.tga", "Flare2.tga", "Exposure8.raw", "XN.tga",
            "XP.tga", "YN.tga", "YP.tga", "ZN.tga", "ZP.tga", "Settings.bin", "Export.bin", "Strings.bin"};
        for (size_t i = 0; i < 24; i++) {
            EXPECT_EQ(pack[i].name, apstrNames[i]);
            std::string source = i < 15    ? Resource(apstrNames[i])
                                 : i < 21  ? twHarness_ReadFile(data + "Data/Textures/Skybox/" + apstrNames[i])
                                 : i == 21 ? twHarness_ReadFile(dir + "Temp/Settings.bin")
                                 : i == 22 ? twHarness_ReadFile(dir + "Temp/Export.bin")
                                           : twHarness_ReadFile(data + "Data/Strings/Strings.bin");
            EXPECT_EQ(pack[i].bytes, source) << apstrNames[i];
        }
        static const char* const apstrMore[] = {"LightS.bin", "LightM.bin", "LightInit.bin", "LightEq.bin",
                                                "LightSort.bin"};
        size_t i = 24;
        // the sun's date and place come last, when the sun follows them
        if (pack.back().name == "Sun.bin") {
            EXPECT_EQ(pack.back().bytes, twHarness_ReadFile(dir + "Temp/Sun.bin"));
            EXPECT_EQ(pack.back().bytes.size(), (size_t)TW_SUN_PLACE_SIZE);
            uiCount--;
        }
        if (uiCount == 25 || uiCount == 30) {
            if (twGallery_GetNumItems()) {
                EXPECT_EQ(pack[i].name, "Gallery");
                EXPECT_EQ(pack[i].bytes, twHarness_ReadFile(dir + "Temp/Gallery"));
                i++;
            }
        }
        for (size_t k = 0; i < uiCount; i++, k++) {
            EXPECT_EQ(pack[i].name, apstrMore[k]);
            EXPECT_EQ(pack[i].bytes, twHarness_ReadFile(dir + "Temp/" + apstrMore[k])) << apstrMore[k];
        }
    }
    static bool Exists(const std::string& path)
    {
        struct stat st;
        return stat(path.c_str(), &st) == 0;
    }
};
std::string Publish::dir;
std::string Publish::data;

// A model alone makes 24 entries, a gallery 25, a light solution with it 30; the copy is a
// program, and the pending action runs the dialog and publishes three frames later
TEST_F(Publish, ThePackHoldsItsSourcesInOrder)
{
    std::string target = dir + "Plain.exe";
    ASSERT_EQ(twEngine_Save(0, target.c_str()), 1);
    ExpectPack(target, 24);
    struct stat st;
    ASSERT_EQ(stat(target.c_str(), &st), 0);
    EXPECT_TRUE(st.st_mode & S_IXUSR);
    EXPECT_FALSE(Exists(target + ".part"));
    EXPECT_EQ(pEngine->bPublished, 1);
    EXPECT_TRUE(twTest_LogHas("Win exe successfully generated"));

    TwNavpoint nav;
    twGallery_NavpointFromCamera(pCam, 0, 0, &nav);
    ASSERT_EQ(twGallery_AddAngle(nullptr, &nav), 1);
    // no extension in the dialog: the program still ends in ".exe"
    mkdir((dir + "bin").c_str(), 0755);
    twHarness_WriteText(dir + "bin/zenity", "#!/bin/sh\necho '" + dir + "Gallery'\n");
    chmod((dir + "bin/zenity").c_str(), 0755);
    std::string path = getenv("PATH");
    setenv("PATH", (dir + "bin:" + path).c_str(), 1);
    pEngine->iPendingStep = 1;
    pEngine->iPendingKind = TW_PENDING_PUBLISH_WIN;
    for (int i = 0; i < 3; i++) {
        twEngine_RunPending(pEngine->szPickedPath, &pEngine->iPendingStep, &pEngine->iPendingKind,
                            &pEngine->fMessageTime, &pEngine->iMessageKind);
        if (i == 0) {
            EXPECT_EQ(pEngine->iMessageKind, 5);
        }
        EXPECT_FALSE(Exists(dir + "Gallery.exe")) << "published before its frames";
    }
    twEngine_RunPending(pEngine->szPickedPath, &pEngine->iPendingStep, &pEngine->iPendingKind, &pEngine->fMessageTime,
                        &pEngine->iMessageKind);
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(pEngine->iPendingKind, 0);
    EXPECT_EQ(pEngine->fMessageTime, 0);
    ExpectPack(dir + "Gallery.exe", 25);

    pWorld->iLightQuality = 0;
    ASSERT_EQ(twEngine_PrepareLight(), 1);
    ASSERT_EQ(twEngine_RunLight(0), 1);
    ASSERT_EQ(twEngine_Save(0, (dir + "Lit.exe").c_str()), 1);
    ExpectPack(dir + "Lit.exe", 30);

    // a sun that follows its date carries the date and place; the copy opened follows them
    pEngine->sunPlace.bFollow = 1;
    pEngine->sunPlace.fLatitude = -33.87f;
    ASSERT_EQ(twEngine_Save(0, (dir + "Sunny.exe").c_str()), 1);
    ExpectPack(dir + "Sunny.exe", 31);
    pEngine->sunPlace.bFollow = 0;
    pEngine->sunPlace.fLatitude = 10;
    ASSERT_EQ(twEngine_Load((dir + "Sunny.exe").c_str()), 1);
    EXPECT_EQ(pEngine->sunPlace.bFollow, 1);
    EXPECT_FLOAT_EQ(pEngine->sunPlace.fLatitude, -33.87f);
    EXPECT_EQ(pEngine->iSunAzimuthWanted, pEngine->iSunPlaceAzimuth);
    // one without them leaves the sun its settings give
    ASSERT_EQ(twEngine_Load((dir + "Lit.exe").c_str()), 1);
    EXPECT_EQ(pEngine->sunPlace.bFollow, 0);
}

// Opened as the model, a copy is published over itself through "Dummy.exe"; its light's
// frame files then come from the copy
TEST_F(Publish, OverTheCopyTheModelCameFrom)
{
    std::string copy = dir + "Lit.exe";
    if (!Exists(copy))
        GTEST_SKIP() << "needs the copy of the test before";
    std::vector<Entry> before = ReadPack(copy);
    ASSERT_EQ(twEngine_Load(copy.c_str()), 1);
    EXPECT_EQ(pWorld->iModelSource, 2);
    ASSERT_EQ(twEngine_Save(0, copy.c_str()), 1);
    EXPECT_TRUE(twTest_LogHas("Overwriting"));
    EXPECT_FALSE(Exists(dir + "Dummy.exe"));
    std::vector<Entry> after = ReadPack(copy);
    ASSERT_EQ(after.size(), before.size());
    for (size_t i = 0; i < after.size(); i++)
        if (after[i].name != "Settings.bin" && after[i].name != "LightS.bin" && after[i].name != "LightM.bin") {
            EXPECT_EQ(after[i].bytes, before[i].bytes) << after[i].name;
        }
    EXPECT_EQ(pEngine->szModelPath, dir + "Dummy.exe"); // the path shown is the one written
}

// Each failure leaves the target as it was and no temporary file beside it
TEST_F(Publish, AFailedPublishCostsNothing)
{
    std::string target = dir + "Kept.exe";
    twHarness_WriteText(target, "the user's file");
    auto ExpectKept = [&](const char* pstrCase) {
        EXPECT_EQ(twHarness_ReadFile(target), "the user's file") << pstrCase;
        EXPECT_FALSE(Exists(target + ".part")) << pstrCase;
    };
    // a master without its "Master", and one whose "Master" runs past its end
    std::string fake = dir + "fake/";
    mkdir(fake.c_str(), 0755);
    twHarness_WriteText(dir + "bare", "bare");
    twTest_MakePack(fake + "Ambulon.exe", dir + "bare", {dir + "Temp/Export.bin"});
    std::string master = twHarness_ReadFile(fake + "Ambulon.exe");
    std::string noMaster = master;
    noMaster.replace(noMaster.size() - 8 - 520, 6, "Mister");
    twHarness_WriteText(fake + "Ambulon.exe", noMaster);
    twCore_SetDataDir(fake.c_str());
    EXPECT_EQ(twEngine_Save(0, target.c_str()), 0);
    ExpectKept("no Master");
    uint32_t uiHuge = 0x7FFFFFFF;
    std::string longMaster = master;
    memcpy(&longMaster[longMaster.size() - 8 - 4], &uiHuge, 4);
    twHarness_WriteText(fake + "Ambulon.exe", longMaster);
    EXPECT_EQ(twEngine_Save(0, target.c_str()), 0);
    ExpectKept("Master past the end");
    // a data folder without its sky: the pack stops half-way
    twHarness_WriteText(fake + "Ambulon.exe", master);
    EXPECT_EQ(twEngine_Save(0, target.c_str()), 0);
    EXPECT_TRUE(twTest_LogHas("Failed to generate win exe"));
    ExpectKept("no sky");
    twCore_SetDataDir(data.c_str());
    // a folder that isn't there, and the program itself
    EXPECT_EQ(twEngine_Save(0, (dir + "missing/Copy.exe").c_str()), 0);
    EXPECT_FALSE(Exists(dir + "missing"));
    std::string self = data + "Ambulon.exe";
    std::string program = twHarness_ReadFile(self);
    EXPECT_EQ(twEngine_Save(0, self.c_str()), 0);
    EXPECT_TRUE(twTest_LogHas("!The target is the program itself"));
    EXPECT_EQ(twHarness_ReadFile(self), program);
    // a damaged copy opened as the model: the open model stays
    twHarness_WriteText(dir + "Broken.exe", "not a program at all");
    char szBefore[TW_PATH_SIZE];
    twWorld_GetModelLocation(szBefore);
    EXPECT_EQ(twEngine_Load((dir + "Broken.exe").c_str()), 0);
    EXPECT_EQ(pWorld->bLoaded, 1);
    char szAfter[TW_PATH_SIZE];
    twWorld_GetModelLocation(szAfter);
    EXPECT_STREQ(szAfter, szBefore);
}

// The Mac bundle, from a master bundle the test makes: its three files as they were, and
// its program the Mac master's bare bytes with the same pack behind them
TEST_F(Publish, TheMacBundle)
{
    std::string mac = dir + "macdata/";
    std::string app = mac + "Ambulon.app/";
    twWindow_CreateDirectory((app + "Contents/MacOS").c_str());
    twWindow_CreateDirectory((app + "Contents/Resources").c_str());
    twHarness_WriteText(app + "Contents/Info.plist", "<plist/>");
    twHarness_WriteText(app + "Contents/Resources/Ambulon.rsrc", "rsrc");
    twHarness_WriteText(app + "Contents/Resources/Ambulon.icns", "icns");
    twHarness_WriteText(dir + "macbare", "a Mac program");
    twTest_MakePack(app + "Contents/MacOS/Ambulon", dir + "macbare", {});
    // the sky and strings of the data folder come along
    EXPECT_EQ(symlink((data + "Data").c_str(), (mac + "Data").c_str()), 0);
    twCore_SetDataDir(mac.c_str());
    twGallery_Free();
    ASSERT_EQ(twEngine_Save(1, (dir + "House.app").c_str()), 1);
    twCore_SetDataDir(data.c_str());
    std::string out = dir + "House.app/";
    EXPECT_EQ(twHarness_ReadFile(out + "Contents/Info.plist"), "<plist/>");
    EXPECT_EQ(twHarness_ReadFile(out + "Contents/Resources/Ambulon.rsrc"), "rsrc");
    EXPECT_EQ(twHarness_ReadFile(out + "Contents/Resources/Ambulon.icns"), "icns");
    std::string bare;
    std::vector<Entry> pack = ReadPack(out + "Contents/MacOS/Ambulon", &bare);
    EXPECT_EQ(bare, "a Mac program");
    EXPECT_EQ(pack.size(), 29u); // the light of the first test, without a gallery
    EXPECT_TRUE(twTest_LogHas("Mac app successfully generated"));
    // a failed bundle is taken away whole
    unlink((app + "Contents/Info.plist").c_str());
    twCore_SetDataDir(mac.c_str());
    EXPECT_EQ(twEngine_Save(1, (dir + "Failed.app").c_str()), 0);
    twCore_SetDataDir(data.c_str());
    EXPECT_FALSE(Exists(dir + "Failed.app"));
}

// A model with its side files beside it: the copy carries them after its model, and opened,
// the copy's pick tells what its elements are and their values, read from its pack
TEST_F(Publish, TheCopyCarriesWhatEachElementIsAndItsValues)
{
    std::string temp = dir + "Temp/";
    twHarness_WriteText(dir + "building.ifc", twSample_IfcBuilding("IFC4"));
    std::string command = std::string(AMB_BUILD_DIR) + "/ambexport -q '" + dir + "building.ifc' -o '" + temp +
                          "Export.bin' > /dev/null 2>&1";
    ASSERT_EQ(system(command.c_str()), 0);
    ASSERT_EQ(twWorld_LoadModel(nullptr, (temp + "Export.bin").c_str(), 0, pCam, nullptr, nullptr, nullptr, 0, nullptr),
              1);
    ASSERT_EQ(twWorld_LoadElementInfo((temp + "Export.bin").c_str()), 1);
    ASSERT_EQ(twEngine_Save(0, (dir + "Data.exe").c_str()), 1);
    std::vector<Entry> pack = ReadPack(dir + "Data.exe");
    ASSERT_GE(pack.size(), 25u);
    EXPECT_EQ(pack[22].name, "Export.bin");
    EXPECT_EQ(pack[23].name, "Export.elements");
    EXPECT_EQ(pack[23].bytes, twHarness_ReadFile(temp + "Export.elements"));
    EXPECT_EQ(pack[24].name, "Export.properties");
    EXPECT_EQ(pack[24].bytes, twHarness_ReadFile(temp + "Export.properties"));
    twWorld_FreeElementInfo();
    ASSERT_EQ(twEngine_Load((dir + "Data.exe").c_str()), 1);
    int iWall = -1;
    for (int e = 0; e < pWorld->iNumElements; e++)
        if (twWorld_GetElementInfo(e) && !strcmp(twWorld_GetElementInfo(e)->apstrFields[0], "Front wall"))
            iWall = e;
    ASSERT_GE(iWall, 0);
    char* pText = twWorld_GetElementProperties(iWall, nullptr);
    ASSERT_NE(pText, nullptr);
    EXPECT_NE(strstr(pText, "Pset_WallCommon\tFireRating\tREI 90\t\n"), nullptr) << pText;
    twMem_Free(pText);
}
