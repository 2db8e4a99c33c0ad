// The gallery on a real window: recording at the key clock with slow frames and a full
// buffer, playback between keys and through all clips, kept angles, the file's round trip
// and every damage it can carry, the preview drawn from the selected item, and a clip saved
// as video.
#include <GL/glew.h>
#include <gtest/gtest.h>
#include <math.h>
#include <stdio.h>
#include <string.h>
#include <dirent.h>
#include <stb_image.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "engine/engine.h"
#include "engine/strings.h"
#include "interface/gallery.h"
#include "interface/section.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "platform/window.h"
#include "tests/support.h"
#include "tools/harness/samples.h"
#include "world/world.h"

struct Gallery : ::testing::Test {
    static TwCamera cam;

    static void SetUpTestSuite()
    {
        twHarness_StartGl(640, 400);
        twStrings_Init();
        ASSERT_EQ(twStrings_ImportBin((std::string(AMB_BUILD_DIR) + "/Data/Strings/Strings.bin").c_str()), 1);
        ASSERT_EQ(twEngine_InitEngine(), 1);
        ASSERT_EQ(twEngine_InitCamera(), 1);
        ASSERT_EQ(twEngine_InitLayers(), 1);
        ASSERT_EQ(twEngine_InitWorld(), 1);
    }
    static void TearDownTestSuite() { twEngine_Shutdown(); }

    // a gallery of its own on a test camera, with a small buffer
    void SetUp() override
    {
        twCamera_Init(&cam);
        twGallery_Shutdown();
        ASSERT_EQ(twGallery_Init(10, 20, cam.vPos, &cam.fPitch, &cam.fOrthoPitch, cam.vOrthoCentre,
                                 &cam.fOrthoHalfWidth, &cam.bTopView),
                  1);
    }
    void TearDown() override { twGallery_Shutdown(); }

    // a recorded clip: one frame a step, the camera walking along x
    static void Record(int iFrames, float fDelta)
    {
        ASSERT_EQ(twGallery_StartRecording(), 1);
        twGallery_RecTogglePause();
        for (int i = 0; i < iFrames; i++) {
            cam.vPos[0] = (float)i;
            cam.fYaw = 10.0f * (float)i;
            twGallery_Update(fDelta);
        }
        EXPECT_EQ(twGallery_RecTogglePause(), 1);
        twGallery_StopRecording();
    }
    static void AddAngle(float x, int iSunAzimuth, int iSunAltitude)
    {
        cam.vPos[0] = x;
        TwNavpoint nav;
        twGallery_NavpointFromCamera(&cam, iSunAzimuth, iSunAltitude, &nav);
        ASSERT_EQ(twGallery_AddAngle(nullptr, &nav), 1);
    }
    static std::vector<std::string> Labels(void)
    {
        std::vector<std::string> out;
        for (TwList* n = pGallery->pItems.pNext; n; n = n->pNext) {
            TwGalleryItem* pItem = (TwGalleryItem*)n->pData;
            if (!pItem->bDeleted)
                out.push_back(pItem->szLabel);
        }
        return out;
    }
};
TwCamera Gallery::cam;

// Keys follow the clock's steps: at 20 a second every 50 ms frame gives one; a 120 ms frame
// gives one too, so a slow machine's clip has fewer keys and plays faster. A full buffer
// closes the clip there, and the status line tells each state.
TEST_F(Gallery, RecordingFollowsTheKeyClock)
{
    ASSERT_EQ(twGallery_StartRecording(), 1);
    EXPECT_STREQ(pGallery->szStatus, "[PAUSED] Click left mouse to begin recording");
    twGallery_RecTogglePause();
    for (int i = 0; i < 4; i++)
        twGallery_Update(0.05f);
    EXPECT_STREQ(pGallery->szStatus, "[RECORDING Frame 4/10] Click left mouse to pause");
    EXPECT_EQ(twGallery_RecTogglePause(), 1);
    EXPECT_STREQ(pGallery->szStatus, "[PAUSED] Click left mouse to begin recording");
    EXPECT_EQ(pGallery->pSelected->pClip->iNumKeys, 4);
    EXPECT_STREQ(pGallery->pSelected->szName, "Clip 0.2 s");
    // slow frames: 2.4 key steps a frame, still one key each
    twGallery_RecTogglePause();
    for (int i = 0; i < 5; i++)
        twGallery_Update(0.12f);
    twGallery_RecTogglePause();
    EXPECT_EQ(pGallery->pSelected->pClip->iNumKeys, 5);
    // the buffer holds 10: the eleventh frame closes the clip instead of writing past it
    twGallery_RecTogglePause();
    int bClosed = 0;
    for (int i = 0; i < 12 && !bClosed; i++)
        bClosed = twGallery_Update(0.05f);
    EXPECT_EQ(bClosed, 1);
    EXPECT_EQ(pGallery->pSelected->pClip->iNumKeys, 10);
    EXPECT_TRUE(twTest_LogHas("The recording buffer is full after 10 keys: the clip ends"));
    // stop drops what ran since the last pause
    twGallery_RecTogglePause();
    twGallery_Update(0.05f);
    twGallery_StopRecording();
    EXPECT_EQ(twGallery_GetNumItems(), 3);
    EXPECT_EQ(twGallery_IsRecording(), 0);
}

// Between keys the camera takes the straight mix; a one-key clip ends at once; play all
// wraps from the last clip to the first, and without it play stops at the clip's end
TEST_F(Gallery, PlaybackMixesKeysAndRunsThroughTheClips)
{
    AddAngle(0, 0, 0);
    EXPECT_EQ(twGallery_PlayFromTop(), 0); // angles alone: nothing to play
    Record(3, 0.05f);
    TwGalleryItem* pFirst = pGallery->pSelected;
    Record(1, 0.05f);
    TwGalleryItem* pOneKey = pGallery->pSelected;
    ASSERT_EQ(twGallery_PlayFromTop(), 1);
    EXPECT_EQ(pGallery->pPlaying, pFirst);
    twGallery_Update(0.025f); // at key 0, then the playhead moves half a key
    twGallery_Update(0.05f);  // between keys 0 and 1
    EXPECT_NEAR(cam.vPos[0], 0.5f, 1e-4f);
    EXPECT_NEAR(cam.fYaw, 5.0f, 1e-3f);
    twGallery_Update(0.05f); // reaches the last key: on to the one-key clip
    EXPECT_EQ(pGallery->pPlaying, pOneKey);
    twGallery_Update(0.01f); // a one-key clip ends at once: back to the first
    EXPECT_EQ(pGallery->pPlaying, pFirst);
    EXPECT_EQ(twGallery_IsPlaying(), 1);
    // without play all the clip's end ends play
    pGallery->bPlayAll = 0;
    for (int i = 0; i < 5; i++)
        twGallery_Update(0.05f);
    EXPECT_EQ(twGallery_IsPlaying(), 0);
    // a stop from play all can resume; a recording refuses play
    ASSERT_EQ(twGallery_PlayFromTop(), 1);
    twGallery_StopPlaying();
    EXPECT_EQ(twGallery_Resume(), 1);
    twGallery_StopPlaying();
    twGallery_StartRecording();
    EXPECT_EQ(twGallery_PlayFromTop(), 0);
    EXPECT_TRUE(twTest_LogHas("!Keyframer is recording"));
    twGallery_StopRecording();
    // deleting the clip that would resume takes the resume with it
    ASSERT_EQ(twGallery_PlayFromTop(), 1);
    twGallery_StopPlaying();
    twGallery_Select(pFirst);
    ASSERT_EQ(twGallery_Delete(), 1);
    EXPECT_EQ(twGallery_Resume(), 0);
}

// A kept angle brings back the place, the view, the field of view, the top view and the
// walk; its sun comes back crossed, as the callers pair the pointers. Delete, move and
// select keep the labels numbered.
TEST_F(Gallery, AnglesComeBackAndKeepTheirOrder)
{
    cam.fPitch = -12;
    cam.fYaw = 33;
    cam.fFov = 55;
    cam.bWalk = 1;
    AddAngle(4, 120, 30);
    EXPECT_STREQ(pGallery->szLabel, "[1/1] View");
    cam.fPitch = cam.fYaw = 0;
    cam.fFov = 80;
    cam.bWalk = 0;
    cam.bTopView = 1;
    cam.fForward = 1;
    AddAngle(9, 200, 60);
    twGallery_SelectPrevious();
    int32_t iAltitude = 0, iAzimuth = 0;
    ASSERT_EQ(twGallery_WarpToSelected(&cam, &iAltitude, &iAzimuth), 1);
    EXPECT_EQ(cam.vPos[0], 4);
    EXPECT_EQ(cam.fPitch, -12);
    EXPECT_EQ(cam.fYaw, 33);
    EXPECT_EQ(cam.fFov, 55);
    EXPECT_EQ(cam.bWalk, 1);
    EXPECT_EQ(cam.bTopView, 0);
    EXPECT_EQ(cam.fForward, 0);
    EXPECT_EQ(iAltitude, 120);
    EXPECT_EQ(iAzimuth, 30);
    AddAngle(1, 0, 0);
    EXPECT_EQ(Labels(), (std::vector<std::string>{"[1/3] View", "[2/3] View", "[3/3] View"}));
    ASSERT_EQ(twGallery_MoveEarlier(), 1);
    EXPECT_EQ(pGallery->pSelected->pNavpoint->vPos[0], 1);
    EXPECT_EQ(pGallery->pSelected->iIndex, 1);
    twGallery_SelectPrevious();
    EXPECT_EQ(twGallery_MoveEarlier(), 0); // the first can't move earlier
    ASSERT_EQ(twGallery_Delete(), 1);      // the next is selected
    EXPECT_EQ(pGallery->pSelected->pNavpoint->vPos[0], 1);
    EXPECT_EQ(Labels(), (std::vector<std::string>{"[1/2] View", "[2/2] View"}));
    twGallery_Delete();
    twGallery_Delete();
    EXPECT_EQ(pGallery->pSelected, nullptr);
    EXPECT_STREQ(pGallery->szLabel, twStrings_Get(313));
    AddAngle(2, 0, 0); // a deleted item's record serves again
    EXPECT_EQ(twGallery_GetNumItems(), 1);
}

static std::vector<uint8_t> Bytes(const std::string& path)
{
    std::string text = twHarness_ReadFile(path);
    return std::vector<uint8_t>(text.begin(), text.end());
}

// A gallery of angles and clips goes through the file and comes back equal, byte for
// byte when written again; an empty gallery writes nothing
TEST_F(Gallery, FileRoundTrip)
{
    std::string path = twHarness_Dir() + "Gallery";
    remove(path.c_str());
    ASSERT_EQ(twGallery_Save(path.c_str()), 1);
    EXPECT_EQ(fopen(path.c_str(), "rb"), nullptr);
    AddAngle(3, 10, 20);
    Record(4, 0.05f);
    AddAngle(5, 30, 40);
    pGallery->bPlayAll = 0;
    ASSERT_EQ(twGallery_Save(path.c_str()), 1);
    std::vector<uint8_t> first = Bytes(path);
    ASSERT_EQ(first.size(), 13u + 3 * 136 + 72 + 4 + 4 * 48 + 72);
    twGallery_Free();
    FILE* pFile = fopen(path.c_str(), "rb");
    ASSERT_EQ(twGallery_Load(pFile, -1), 1);
    fclose(pFile);
    EXPECT_EQ(twGallery_GetNumItems(), 3);
    EXPECT_EQ(pGallery->bPlayAll, 0);
    EXPECT_STREQ(pGallery->szLabel, "[3/3] View"); // the last item read stays selected
    ASSERT_EQ(twGallery_Save(path.c_str()), 1);
    EXPECT_EQ(Bytes(path), first);
}

// A view kept with a cut brings it back when it is played, after the file's round trip, which
// marks such a file as its own; a view kept without one shows the building whole. A damaged
// cut's text changes nothing.
TEST_F(Gallery, AViewKeepsItsCut)
{
    if (!pSection) {
        ASSERT_EQ(twSection_Init(), 1);
    }
    twSection_Clear();
    pSection->bStoreyCut = 1;
    pSection->fStoreyCutY = 4.2f;
    const float afPlane[4] = {1, 0, 0, -2};
    memcpy(pSection->aafPlanes[0], afPlane, sizeof(afPlane));
    pSection->iNumPlanes = 1;
    snprintf(pSection->szHidden, sizeof(pSection->szHidden), "IfcFurnishingElement\tIfcSpace");
    AddAngle(3, 10, 20);
    char szState[TW_SECTION_STATE_SIZE];
    int iLength = twSection_WriteState(szState, sizeof(szState));
    ASSERT_GT(iLength, 0);
    ASSERT_EQ(twGallery_SetSelectedCut(szState, iLength), 1);
    AddAngle(5, 0, 0);
    std::string path = twHarness_Dir() + "Gallery";
    ASSERT_EQ(twGallery_Save(path.c_str()), 1);
    std::vector<uint8_t> bytes = Bytes(path);
    ASSERT_EQ(bytes.size(), 13u + 2 * (136 + 72 + 4) + iLength);
    EXPECT_EQ(bytes[0], TW_GALLERY_MAGIC_CUTS);
    twGallery_Free();
    twSection_Clear();
    pSection->szHidden[0] = 0;
    FILE* pFile = fopen(path.c_str(), "rb");
    ASSERT_EQ(twGallery_Load(pFile, -1), 1);
    fclose(pFile);
    ASSERT_EQ(twGallery_GetNumItems(), 2);
    ASSERT_EQ(twGallery_WarpToSelected(&cam, nullptr, nullptr), 1); // the second, kept whole
    EXPECT_EQ(twSection_Active(), 0);
    ASSERT_EQ(twGallery_SelectPrevious(), 1);
    ASSERT_EQ(twGallery_WarpToSelected(&cam, nullptr, nullptr), 1);
    EXPECT_EQ(pSection->bStoreyCut, 1);
    EXPECT_FLOAT_EQ(pSection->fStoreyCutY, 4.2f);
    ASSERT_EQ(pSection->iNumPlanes, 1);
    EXPECT_FLOAT_EQ(pSection->aafPlanes[0][3], -2);
    EXPECT_EQ(twSection_ClassHidden("IfcSpace"), 1);
    EXPECT_EQ(twSection_ClassHidden("IfcSpac"), 0);
    EXPECT_FLOAT_EQ(cam.vPos[0], 3);
    // a normal that is not unit is made one, and then stays as it is read again
    const char* pstrSlanted = "plane\t1 0 -1 2\n";
    char szOnce[256], szTwice[256];
    ASSERT_EQ(twSection_ReadState(pstrSlanted, (int)strlen(pstrSlanted)), 1);
    int iOnce = twSection_WriteState(szOnce, sizeof(szOnce));
    ASSERT_EQ(twSection_ReadState(szOnce, iOnce), 1);
    ASSERT_EQ(twSection_WriteState(szTwice, sizeof(szTwice)), iOnce);
    EXPECT_EQ(std::string(szOnce, iOnce), std::string(szTwice, iOnce));
    ASSERT_EQ(twGallery_WarpToSelected(&cam, nullptr, nullptr), 1);
    for (const char* pstrBad : {"plane\t1 0 nan 0\n", "box\t1 1 1 0 0 0\n", "xray\tbody\tX\n", "storey\t\n"}) {
        EXPECT_EQ(twSection_ReadState(pstrBad, (int)strlen(pstrBad)), 0) << pstrBad;
        EXPECT_EQ(pSection->iNumPlanes, 1) << pstrBad;
    }
    twSection_Clear();
    pSection->szHidden[0] = 0;
}

// Each damage: one line, the items before it kept, nothing read past the data
TEST_F(Gallery, ADamagedFileKeepsTheGoodItems)
{
    std::string path = twHarness_Dir() + "Gallery";
    AddAngle(3, 10, 20);
    Record(4, 0.05f);
    AddAngle(5, 30, 40);
    ASSERT_EQ(twGallery_Save(path.c_str()), 1);
    const std::vector<uint8_t> good = Bytes(path);
    const size_t uiItem2 = 13 + 136 + 72, uiItem3 = uiItem2 + 136 + 4 + 4 * 48;
    float fNan = NAN;
    struct Case {
        const char* pstrName;
        size_t uiAt;        // where the damage goes; the size to cut to when uiCut is set
        std::vector<uint8_t> bytes;
        bool bCut;
        int iKept;
        const char* pstrLine;
    };
    auto U32 = [](uint32_t v) { std::vector<uint8_t> b; twTest_PutU32(&b, v); return b; };
    std::vector<uint8_t> nan(4);
    memcpy(nan.data(), &fNan, 4);
    std::vector<Case> cases = {
        {"short header", 7, {}, true, 0, "!The gallery ends in its header"},
        {"wrong tag", 0, {'X'}, false, 0, "!Failed to find G"},
        {"negative count", 5, U32(0x80000000u), false, 0, "!Wrong number of items"},
        {"count past the data", 5, U32(50), false, 3, "!The gallery ends in item 4 of 50"},
        {"index mismatch", uiItem2, U32(7), false, 1, "!Index mismatch (Expected 1 Found 7)"},
        {"more keys than the buffer", uiItem2 + 136, U32(11), false, 1, "!Clip 2 has 11 keys, more than the 10"},
        {"keys past the data", uiItem2 + 136, U32(9), false, 1, "!The gallery ends in the keys of item 2"},
        {"unknown type", uiItem3 + 132, U32(3), false, 2, "!Undefined item type 3"},
        {"NaN in a key", uiItem2 + 140 + 48 + 16, nan, false, 1, "!Key 1 of item 2 is not a camera"},
        {"NaN in a view", uiItem3 + 136 + 4, nan, false, 2, "!The view of item 3 is not a camera"},
        {"short view", uiItem3 + 136 + 40, {}, true, 2, "!The gallery ends in the view of item 3"},
    };
    for (const Case& c : cases) {
        std::vector<uint8_t> bytes = good;
        if (c.bCut)
            bytes.resize(c.uiAt);
        else
            memcpy(bytes.data() + c.uiAt, c.bytes.data(), c.bytes.size());
        twHarness_WriteFile(path, bytes);
        twGallery_Free();
        FILE* pFile = fopen(path.c_str(), "rb");
        EXPECT_EQ(twGallery_Load(pFile, (int64_t)bytes.size()), 0) << c.pstrName;
        fclose(pFile);
        EXPECT_EQ(twGallery_GetNumItems(), c.iKept) << c.pstrName;
        EXPECT_TRUE(twTest_LogHas(c.pstrLine)) << c.pstrName;
    }
}

// The preview draws the selected view, not the stock picture of an empty gallery
TEST_F(Gallery, PreviewShowsTheSelectedView)
{
    std::string modelPath = twHarness_Dir() + "Export.bin";
    twExport_WriteFile(twSample_SmallHouse(), modelPath);
    twHarness_WriteText(twHarness_Dir() + "bare", "program");
    twTest_MakePack(twHarness_Dir() + "House.exe", twHarness_Dir() + "bare", {modelPath});
    ASSERT_EQ(twEngine_Load((twHarness_Dir() + "House.exe").c_str()), 1);
    pEngine->pGalleryTexture = twOgl_LoadResourceTexture("Gallery.tga", "Gallery", "pGalleryTexture", "test");
    ASSERT_NE(pEngine->pGalleryTexture, nullptr);
    std::vector<uint8_t> stock(256 * 128 * 4), preview(256 * 128 * 4), again(256 * 128 * 4);
    auto Read = [](std::vector<uint8_t>* pOut) {
        glBindTexture(GL_TEXTURE_2D, pEngine->pGalleryTexture->hTexture);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, pOut->data());
    };
    Read(&stock);
    memcpy(&cam, pCam, sizeof(cam));
    AddAngle(pCam->vPos[0], 0, 0);
    ASSERT_EQ(twEngine_UpdateGallery(pEngine->pGalleryTexture), 1);
    Read(&preview);
    EXPECT_NE(preview, stock);
    // opaque, as the panel blends it: a model's alpha must not darken the picture
    int iOpaque = 0;
    for (size_t i = 3; i < preview.size(); i += 4)
        iOpaque += preview[i] == 255;
    EXPECT_EQ(iOpaque, 256 * 128);
    // emptied, the gallery shows the stock picture again
    twGallery_Delete();
    ASSERT_EQ(twEngine_UpdateGallery(pEngine->pGalleryTexture), 1);
    Read(&again);
    EXPECT_EQ(again, stock);
    twOgl_ReleaseTexture(&pEngine->pGalleryTexture);
}

// A clip of a second as video: 31 frames at thirty a second, each the view alone at that
// time of the clip, then ffmpeg (a stub here) asked for the MP4; without ffmpeg the frames
// alone; a failing ffmpeg keeps the frames; stopped, nothing stays
TEST_F(Gallery, AClipBecomesAVideo)
{
    std::string dir = twHarness_Dir(), shots = std::string(twCore_GetUserDir()) + "Screenshots/";
    std::string modelPath = dir + "Export.bin";
    twExport_WriteFile(twSample_SmallHouse(), modelPath);
    twHarness_WriteText(dir + "bare", "program");
    twTest_MakePack(dir + "Film.exe", dir + "bare", {modelPath});
    ASSERT_EQ(twEngine_Load((dir + "Film.exe").c_str()), 1);
    // the engine's own gallery, on the walker; a clip walking past the house and turning
    twGallery_Shutdown();
    ASSERT_EQ(twGallery_Init(100, 20, pCam->vPos, &pCam->fPitch, &pCam->fOrthoPitch, pCam->vOrthoCentre,
                             &pCam->fOrthoHalfWidth, &pCam->bTopView),
              1);
    float vStart[3] = {pCam->vPos[0], pCam->vPos[1], pCam->vPos[2]}, fYaw = pCam->fYaw;
    ASSERT_EQ(twGallery_StartRecording(), 1);
    twGallery_RecTogglePause();
    for (int i = 0; i < 21; i++) {
        pCam->vPos[0] = vStart[0] + 0.3f * (float)i;
        pCam->fYaw = fYaw + 2.0f * (float)i;
        twGallery_Update(0.05f);
    }
    ASSERT_EQ(twGallery_RecTogglePause(), 1);
    twGallery_StopRecording();
    memcpy(pCam->vPos, vStart, sizeof(vStart));
    pCam->fYaw = fYaw;
    ASSERT_NEAR(twGallery_ClipSeconds(pGallery->pSelected), 1.0f, 1e-4f);

    std::string path = getenv("PATH"), bin = dir + "bin";
    mkdir(bin.c_str(), 0755);
    auto Stub = [&](const std::string& script) {
        twHarness_WriteText(bin + "/ffmpeg", "#!/bin/sh\n" + script);
        chmod((bin + "/ffmpeg").c_str(), 0755);
    };
    // the folders of videos in Screenshots, and the MP4s beside them
    auto Listing = [&](const std::string& end) {
        std::vector<std::string> out;
        DIR* d = opendir(shots.c_str());
        for (struct dirent* e = d ? readdir(d) : nullptr; e; e = readdir(d)) {
            std::string name = e->d_name;
            if (name.size() >= end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0)
                out.push_back(name);
        }
        if (d)
            closedir(d);
        return out;
    };
    auto Film = [&]() {
        ASSERT_EQ(twEngine_StartVideo(), 1);
        int iSteps = 0;
        // a step a frame; ffmpeg runs beside, and is looked at once a step
        while (twEngine_VideoStep(0.1f) && iSteps++ < 20000)
            usleep(2000);
        EXPECT_EQ(twEngine_IsVideoRunning(), 0);
    };
    setenv("PATH", (bin + ":" + path).c_str(), 1);
    Stub("echo \"$@\" > '" + dir + "args'\nfor a; do last=$a; done\necho film > \"$last\"\n");
    Film();
    setenv("PATH", path.c_str(), 1);
    std::vector<std::string> folders = Listing("_video");
    ASSERT_EQ(folders.size(), 1u);
    EXPECT_EQ(Listing(".part").size(), 0u);
    EXPECT_EQ(Listing("_video.mp4").size(), 1u);
    EXPECT_EQ(twHarness_ReadFile(shots + folders[0] + ".mp4"), "film\n");
    std::string args = twHarness_ReadFile(dir + "args");
    EXPECT_NE(args.find("-framerate 30 -start_number 1 -i " + shots + folders[0] + ".part/frame_%05d.png"),
              std::string::npos)
        << args;
    EXPECT_FALSE(twHarness_ReadFile(shots + folders[0] + "/frame_00031.png").empty());
    EXPECT_TRUE(twHarness_ReadFile(shots + folders[0] + "/frame_00032.png").empty());
    EXPECT_TRUE(twHarness_ReadFile(shots + folders[0] + "/ffmpeg.txt").empty());
    EXPECT_FLOAT_EQ(pCam->vPos[0], vStart[0]); // the walker is back where he stood
    // frame 16 is the view at half a second: the PNG holds it top row first, in RGB
    int w = 0, h = 0, n = 0;
    uint8_t* pucFrame = stbi_load((shots + folders[0] + "/frame_00016.png").c_str(), &w, &h, &n, 3);
    ASSERT_NE(pucFrame, nullptr);
    ASSERT_EQ(w, twWindow_GetWidth());
    ASSERT_EQ(h, twWindow_GetHeight());
    TwCamera saved;
    memcpy(&saved, pCam, sizeof(saved));
    twGallery_PoseClip(pGallery->pSelected, 0.5f);
    twEngine_DrawViewAlone(pCam, w, h);
    std::vector<uint8_t> view((size_t)w * h * 3);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, w, h, GL_RGB, GL_UNSIGNED_BYTE, view.data());
    memcpy(pCam, &saved, sizeof(saved));
    double dDiff = 0;
    for (int y = 0; y < h; y++)
        for (int i = 0; i < w * 3; i++)
            dDiff += abs((int)pucFrame[(size_t)y * w * 3 + i] - (int)view[(size_t)(h - 1 - y) * w * 3 + i]);
    EXPECT_LT(dDiff / ((double)w * h * 3), 1.0);
    uint8_t* pucFirst = stbi_load((shots + folders[0] + "/frame_00001.png").c_str(), &w, &h, &n, 3);
    ASSERT_NE(pucFirst, nullptr);
    EXPECT_NE(memcmp(pucFirst, pucFrame, (size_t)w * h * 3), 0); // the camera moved
    stbi_image_free(pucFirst);
    stbi_image_free(pucFrame);

    // no ffmpeg on the PATH: the frames alone; a failing one: the frames, and its words logged
    setenv("PATH", (dir + "empty").c_str(), 1);
    Film();
    EXPECT_TRUE(twTest_LogHas("ffmpeg isn't on the PATH: the video is kept as PNG frames"));
    setenv("PATH", (bin + ":" + path).c_str(), 1);
    Stub("echo 'Unknown encoder' >&2\nexit 1\n");
    Film();
    EXPECT_TRUE(twTest_LogHas("!ffmpeg ended with 1: Unknown encoder"));
    EXPECT_EQ(Listing("_video").size(), 3u);
    EXPECT_EQ(Listing(".mp4").size(), 1u);
    EXPECT_EQ(Listing(".part").size(), 0u);
    // stopped while writing frames, or while ffmpeg runs: nothing of it stays
    ASSERT_EQ(twEngine_StartVideo(), 1);
    for (int i = 0; i < 5; i++)
        twEngine_VideoStep(0.1f);
    twEngine_StopVideo();
    Stub("sleep 30\n");
    ASSERT_EQ(twEngine_StartVideo(), 1);
    for (int i = 0; i < 32; i++)
        twEngine_VideoStep(0.1f);
    EXPECT_NE(std::string(twEngine_GetVideoStatus()).find("Making the MP4"), std::string::npos);
    twEngine_StopVideo();
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(Listing("_video").size(), 3u);
    EXPECT_EQ(Listing(".mp4").size(), 1u);
    EXPECT_EQ(Listing(".part").size(), 0u);
    EXPECT_TRUE(twTest_LogHas("The video was stopped after 5 of 31 frames: nothing of it is kept"));
    EXPECT_TRUE(twTest_LogHas("The video was stopped after 31 of 31 frames: nothing of it is kept"));
    // an angle is no clip
    TwNavpoint nav;
    twGallery_NavpointFromCamera(pCam, 0, 0, &nav);
    ASSERT_EQ(twGallery_AddAngle(nullptr, &nav), 1);
    EXPECT_EQ(twEngine_StartVideo(), 0);
}
