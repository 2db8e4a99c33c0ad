// The light job on the test display: where samples stand, what luxels read, the job broken
// off and resumed, the batched read-back against one picture at a time, the result files
// and their damage.
#include <gtest/gtest.h>
#include <GL/glew.h>
#include <math.h>
#include <string.h>
#include <sys/stat.h>

#include <vector>

#include "engine/log.h"
#include "engine/memory.h"
#include "light/light.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "render/render.h"
#include "tests/support.h"
#include "tools/harness/samples.h"

struct Bake : ::testing::Test {
    static std::string dir;
    static void SetUpTestSuite()
    {
        ASSERT_EQ(twHarness_StartWorld(320, 240, 1), 1);
        ASSERT_EQ(twWorld_InitShaders(), 1);
        dir = twHarness_Dir();
        mkdir((dir + "Temp").c_str(), 0755);
    }
    static void TearDownTestSuite() { twHarness_StopWorld(); }
    void TearDown() override
    {
        twWorld_Free();
        twWorld_SetLightAbortCallback(nullptr);
        pWorld->iSamplePath = TW_SAMPLE_CHOOSE;
    }
    // Loads a model and builds its light frame at a quality, as after the frames that
    // stamp the groups
    static void Prepare(const TwExportModel& m, int iQuality = 0)
    {
        twHarness_WriteFile(dir + "bake.bin", twExport_Write(m));
        ASSERT_EQ(twWorld_LoadModel(nullptr, (dir + "bake.bin").c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1,
                                    nullptr),
                  1);
        for (int g = 0; g < pWorld->iNumElementGroups; g++)
            pWorld->pElementGroups[g].uiVisibleFrame = 1;
        pWorld->iLightQuality = iQuality;
        ASSERT_EQ(twWorld_InitLight(1, nullptr), 1);
    }
    static void Run(int bOnlyVisible = 0)
    {
        TwCamera cam;
        twCamera_Init(&cam);
        ASSERT_EQ(twWorld_LightWorld(&cam, bOnlyVisible), 1);
    }
    static std::string Temp(const char* pstrFile) { return twHarness_ReadFile(dir + "Temp/" + pstrFile); }
    // The surface of the largest size that faces along an axis
    static TwSurface* Facing(int iAxis, float fSign)
    {
        TwSurface* pBest = nullptr;
        for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++) {
            TwSurface* s = pWorld->ppSurfaces[i];
            if (s->fPlane[iAxis] * fSign > 0.99f && (!pBest || s->fSize > pBest->fSize))
                pBest = s;
        }
        return pBest;
    }
    // A luxel's light as its lightmap holds it
    static int Luxel(const TwSurface* s, int u, int v)
    {
        const TwLightmap* pLightmap = s->pLightmap;
        std::vector<uint8_t> bytes((size_t)pLightmap->iWidth * pLightmap->iHeight);
        glBindTexture(GL_TEXTURE_2D, pLightmap->pTexture->hTexture);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE, bytes.data());
        glBindTexture(GL_TEXTURE_2D, 0);
        return bytes[(s->uiLightmapY + v) * pLightmap->iWidth + s->uiLightmapX + u];
    }
};
std::string Bake::dir;

static TwExportModel Plain(void)
{
    TwExportModel m;
    TwExportMaterial plain;
    plain.name = "Plain";
    m.materials = {plain};
    m.layers = {"Ground"};
    return m;
}

// A floor of 4 by 4 metres with a wall standing across it at x 1.9 to 2.1
static TwExportModel FloorAndWall(void)
{
    TwExportModel m = Plain();
    m.elements.push_back(twSample_Box(0, -0.2f, 0, 4, 0, 4, 2, 0));
    m.elements.push_back(twSample_Box(1.9f, 0, 0.5f, 2.1f, 2.5f, 3.5f, 1, 0));
    return m;
}

// An open floor with a corner of two walls at one end and a table at the other
static TwExportModel CornerAndTable(void)
{
    TwExportModel m = Plain();
    m.elements.push_back(twSample_Box(0, -0.2f, 0, 12, 0, 12, 2, 0));
    m.elements.push_back(twSample_Box(0, 0, 0, 0.2f, 3, 4, 1, 0));
    m.elements.push_back(twSample_Box(0, 0, 0, 4, 3, 0.2f, 1, 0));
    m.elements.push_back(twSample_Box(9, 0.72f, 9, 11, 0.8f, 11, 4, 0)); // the table top
    return m;
}

// ---------------------------------------------------------------------------------------------
// Samples
// ---------------------------------------------------------------------------------------------

TEST_F(Bake, ASampleInAWallStandingOnTheSurfaceMovesToItsOpenSide)
{
    Prepare(FloorAndWall());
    TwSurface* pFloor = Facing(1, 1);
    ASSERT_NE(pFloor, nullptr);
    ASSERT_EQ(pFloor->usLuxelsU * pFloor->usLuxelsV, 32 * 32); // 4 m at 10 a metre, floored
    ASSERT_EQ(twWorld_SelectSurface((int)pFloor->iIndex), 1);
    int bFoundWall = 0;
    for (TwSurface** pp = pWorld->ppSurfacesInRange; *pp; pp++)
        bFoundWall |= fabsf((*pp)->fPlane[0]) > 0.99f;
    EXPECT_TRUE(bFoundWall);
    // along U the luxels are an eighth of a metre: find the one whose centre lies in the wall
    int iAlongX = fabsf(pFloor->fPlaneU[0]) > 0.99f, iMoved = 0;
    for (int i = 0; i < 32; i++) {
        pWorld->usSampleU = (uint16_t)(iAlongX ? i : 16);
        pWorld->usSampleV = (uint16_t)(iAlongX ? 16 : i);
        twWorld_PlaceSample(pFloor);
        float x = pWorld->vSamplePos[0], y = pWorld->vSamplePos[1];
        EXPECT_FALSE(x > 1.9f && x < 2.1f) << "luxel " << i << " stays in the wall at x " << x;
        if (fabsf(y - 0.004f) < 1e-4f) {
            // moved a luxel's width off the nearer face of the wall, just over the floor
            iMoved++;
            EXPECT_TRUE(fabsf(x - 1.775f) < 1e-4f || fabsf(x - 2.225f) < 1e-4f) << i << " at " << x;
        } else {
            EXPECT_NEAR(y, 0.001f, 1e-4) << i; // where it was placed
        }
    }
    // the two centres in the wall and the one within a luxel of each face
    EXPECT_EQ(iMoved, 4);
}

TEST_F(Bake, OpenFloorReadsLightACornerDarkerAndUnderATableDarkerStill)
{
    Prepare(CornerAndTable());
    Run();
    TwSurface* pFloor = Facing(1, 1);
    ASSERT_NE(pFloor, nullptr);
    ASSERT_EQ(pFloor->bLit, 1);
    // the luxel nearest a point of the floor
    auto At = [&](float x, float z) {
        float p[3] = {x, 0, z};
        float u = (pFloor->fPlaneU[0] * p[0] + pFloor->fPlaneU[2] * p[2] + pFloor->fPlaneU[3]) / pFloor->fDistU;
        float v = (pFloor->fPlaneV[0] * p[0] + pFloor->fPlaneV[2] * p[2] + pFloor->fPlaneV[3]) / pFloor->fDistV;
        return Luxel(pFloor, (int)(u * pFloor->usLuxelsU), (int)(v * pFloor->usLuxelsV));
    };
    int iOpen = At(6, 5), iCorner = At(0.4f, 0.4f), iTable = At(10, 10);
    EXPECT_GT(iOpen, 240);
    EXPECT_LT(iCorner, iOpen - 40);
    EXPECT_LT(iTable, iCorner);
    EXPECT_TRUE(twTest_LogHas("Lighting surfaces\n"));
    EXPECT_TRUE(twTest_LogHas("Lighting smooth meshes\n"));
    EXPECT_EQ(twWorld_LightComplete(), 1);
    EXPECT_STREQ(pWorld->szLightPercent, "100.0 %");
    twWorld_Free();

    // the table on a layer hidden before the job casts no shade
    TwExportModel m = CornerAndTable();
    m.layers = {"Ground", "Furniture"};
    m.elements.back().iLayer = 1;
    Prepare(m);
    int32_t bHidden = 0;
    memcpy(twLayers_GetLayer(1) + TW_LAYER_VISIBLE_OFFSET, &bHidden, 4);
    twWorld_UpdateHiddenElements();
    Run();
    pFloor = Facing(1, 1);
    EXPECT_GT(At(10, 10), 240);
    EXPECT_EQ(At(0.4f, 0.4f), iCorner);
}

// ---------------------------------------------------------------------------------------------
// The job's runs give the same bytes
// ---------------------------------------------------------------------------------------------

static int s_iAbortAfter;
static int AbortAfterSome(void)
{
    return --s_iAbortAfter < 0;
}

// A model with a smooth mesh too, so that vertex light is in the files
static TwExportModel RoomWithARoundThing(void)
{
    TwExportModel m = CornerAndTable();
    TwExportElement round = twSample_Box(5, 0, 5, 6, 1, 6, 4, 0);
    round.meshes[0].bSmooth = 1;
    round.meshes[0].surfaces.clear();
    m.elements.push_back(round);
    return m;
}

// The largest difference between two files of the same size, byte for byte; -1 when the
// sizes differ
static int LargestDifference(const std::string& a, const std::string& b, int* piDiffering)
{
    if (a.size() != b.size())
        return -1;
    int iMax = 0;
    *piDiffering = 0;
    for (size_t i = 0; i < a.size(); i++) {
        int d = abs((uint8_t)a[i] - (uint8_t)b[i]);
        iMax = d > iMax ? d : iMax;
        *piDiffering += d != 0;
    }
    return iMax;
}

TEST_F(Bake, EveryWayOfReadingBackGivesTheSameFilesBrokenOffOrNotAndTheCardsReductionWithinOne)
{
    Prepare(RoomWithARoundThing());
    pWorld->iSamplePath = TW_SAMPLE_BATCHED;
    Run();
    ASSERT_EQ(pWorld->iSamplePathTaken, TW_SAMPLE_BATCHED);
    std::string s = Temp("LightS.bin"), m = Temp("LightM.bin");
    ASSERT_GT(s.size(), 11u);
    ASSERT_GT(m.size(), 7u);
    twWorld_Free();

    // the whole target read back while the next is drawn, broken off a third of the way
    // (with rounds still under way) and resumed
    Prepare(RoomWithARoundThing());
    pWorld->iSamplePath = TW_SAMPLE_IN_FLIGHT;
    s_iAbortAfter = pWorld->iSamplesTotal ? pWorld->iSamplesTotal / 3 : 300;
    twWorld_SetLightAbortCallback(AbortAfterSome);
    Run();
    EXPECT_EQ(pWorld->bAborted, 1);
    EXPECT_EQ(twWorld_LightComplete(), 0);
    EXPECT_NE(Temp("LightS.bin"), s);
    twWorld_SetLightAbortCallback(nullptr);
    Run();
    ASSERT_EQ(pWorld->iSamplePathTaken, TW_SAMPLE_IN_FLIGHT);
    EXPECT_EQ(twWorld_LightComplete(), 1);
    EXPECT_TRUE(Temp("LightS.bin") == s);
    EXPECT_TRUE(Temp("LightM.bin") == m);
    twWorld_Free();

    // one picture read back at a time
    Prepare(RoomWithARoundThing());
    pWorld->iSamplePath = TW_SAMPLE_ONE_BY_ONE;
    Run();
    EXPECT_TRUE(Temp("LightS.bin") == s);
    EXPECT_TRUE(Temp("LightM.bin") == m);
    twWorld_Free();

    // reduced on the card: each luxel and vertex within 1 of the read-back
    Prepare(RoomWithARoundThing());
    pWorld->iSamplePath = TW_SAMPLE_ON_CARD;
    Run();
    ASSERT_EQ(pWorld->iSamplePathTaken, TW_SAMPLE_ON_CARD) << "the test display has float targets";
    EXPECT_EQ(pWorld->bGpuReduce, 1);
    int iDifferingS = 0, iDifferingM = 0;
    EXPECT_EQ(LargestDifference(Temp("LightS.bin"), s, &iDifferingS) & ~1, 0);
    EXPECT_EQ(LargestDifference(Temp("LightM.bin"), m, &iDifferingM) & ~1, 0);
    printf("the card's reduction: %d of %zu lightmap bytes and %d of %zu vertex bytes differ by 1\n", iDifferingS,
           s.size(), iDifferingM, m.size());
}

TEST_F(Bake, AJobWithSamplesEnoughTimesEveryWayAndTakesTheFastest)
{
    Prepare(RoomWithARoundThing(), 1);
    Run();
    ASSERT_GT(pWorld->iSamplesTotal, 4 * 2 * 2 * 192) << "enough for a trial";
    EXPECT_TRUE(twTest_LogHas("Sample paths, microseconds a sample: one by one "));
    float fTaken = pWorld->afSamplePathCost[pWorld->iSamplePathTaken];
    for (int p = 0; p < TW_SAMPLE_NUM_PATHS; p++) {
        EXPECT_GT(pWorld->afSamplePathCost[p], 0) << p;
        if (p != TW_SAMPLE_ON_CARD && pWorld->iSamplePathTaken != TW_SAMPLE_ON_CARD) {
            EXPECT_LE(fTaken, pWorld->afSamplePathCost[p]) << p;
        }
    }
    EXPECT_EQ(twWorld_LightComplete(), 1);
}

TEST_F(Bake, EscAfterTheFirstSampleWritesTheFilesWithNothingLit)
{
    Prepare(CornerAndTable());
    s_iAbortAfter = 0;
    twWorld_SetLightAbortCallback(AbortAfterSome);
    Run();
    EXPECT_EQ(s_iAbortAfter, -1) << "asked once, after the first sample";
    EXPECT_EQ(pWorld->iSamplesDone, 0) << "recounted from what is lit";
    for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++)
        EXPECT_EQ(pWorld->ppSurfaces[i]->bLit, 0) << i;
    std::string s = Temp("LightS.bin");
    ASSERT_GE(s.size(), 11u + pWorld->uiNumSurfaces);
    EXPECT_EQ(s.substr(0, 3), "L_S");
    // no smooth meshes: the vertex light file is its header and count alone
    EXPECT_EQ(Temp("LightM.bin").size(), 7u);
}

// From above the middle of the corner and table's floor, looking down: the walls' outer
// faces are out of view
static TwCamera LookingDown(int iWidth, int iHeight)
{
    TwCamera cam;
    twCamera_Init(&cam);
    twCamera_SetAspectFromWindow(&cam, iWidth, iHeight);
    cam.vPos[0] = 6;
    cam.vPos[1] = 8;
    cam.vPos[2] = 6;
    cam.fPitch = -89;
    twCamera_UpdateMatrices(&cam, 1);
    return cam;
}

TEST_F(Bake, OnlyWhatTheCameraSeesIsLit)
{
    Prepare(CornerAndTable());
    TwCamera cam = LookingDown(320, 240);
    ASSERT_EQ(twWorld_LightWorld(&cam, 1), 1);
    EXPECT_EQ(Facing(1, 1)->bLit, 1);
    const TwSurface* pOuter = Facing(0, -1); // the wall's face toward -x, outside the model
    ASSERT_NE(pOuter, nullptr);
    EXPECT_EQ(pOuter->bLit, 0);
    EXPECT_EQ(twWorld_LightComplete(), 0);
}

TEST_F(Bake, OnlyWhatTheCameraSeesIsLitOnAWindowLargerThanTheTempBuffer)
{
    // 3840 x 2160 in RGBA is 33 MB, twice the temp buffer
    Prepare(CornerAndTable());
    TwFbo* pLarge = twOgl_CreateFbo("pLarge", 3840, 2160, 1, 0);
    ASSERT_NE(pLarge, nullptr);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, pLarge->hFbo);
    int iWidth = pWorld->iWidth, iHeight = pWorld->iHeight;
    pWorld->iWidth = 3840;
    pWorld->iHeight = 2160;
    TwCamera cam = LookingDown(3840, 2160);
    twWorld_FindVisibleSurfaces(&cam);
    pWorld->iWidth = iWidth;
    pWorld->iHeight = iHeight;
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    twOgl_FreeFbo(pLarge);
    EXPECT_EQ(pWorld->piSurfacesVisible[Facing(1, 1)->iIndex], 1) << "the floor seen from above";
    EXPECT_EQ(pWorld->piSurfacesVisible[Facing(0, -1)->iIndex], 0) << "the wall's outer face";
}

#ifdef AMB_TEST_HOOKS
// A job that can't have its geometry or loses a picture's mean stops at once with its line,
// and nothing it did not light reads as lit
TEST_F(Bake, AJobOutOfMemoryOrLosingMeansStopsWithItsLineAndLeavesTheRestUnlit)
{
    static const char* const apstrFailing[2] = {"pSampleVerts", "pTempBuffer"};
    static const char* const apstrLines[2] = {
        "!twWorld_GatherSampleGeometry : the job stops\n",
        " samples lost, the job stops\n"};
    static const char* const apstrOnce[2] = {"!malloc : pSampleGeometry", " samples lost"};
    for (int k = 0; k < 2; k++) {
        Prepare(CornerAndTable());
        pWorld->iSamplePath = TW_SAMPLE_BATCHED;
        twMem_FailNamed(apstrFailing[k]);
        TwCamera cam;
        twCamera_Init(&cam);
        int bOk = twWorld_LightWorld(&cam, 0);
        twMem_FailNamed(nullptr);
        EXPECT_EQ(bOk, 0) << k;
        EXPECT_TRUE(twTest_LogHas(apstrLines[k])) << k;
        int iLines = 0;
        for (const std::string& line : twTest_LogLines())
            iLines += line.find(apstrOnce[k]) != std::string::npos;
        EXPECT_EQ(iLines, 1) << "logged once, not for every sample";
        int iLit = 0;
        for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++)
            iLit += pWorld->ppSurfaces[i]->bLit && !pWorld->ppSurfaces[i]->bNoSampling;
        EXPECT_EQ(iLit, 0) << k;
        EXPECT_EQ(twWorld_LightComplete(), 0) << k;
        if (k == 1) {
            twMem_FailNamed("pTempBuffer");
            EXPECT_EQ(twWorld_UploadSurfaceLight(Facing(1, 1)), 0) << "a lightmap not shown is a failure";
            twMem_FailNamed(nullptr);
        }
        twWorld_Free();
    }
}
#endif

TEST_F(Bake, NothingToSampleShowsZeroOfZero)
{
    TwExportModel m = Plain();
    m.elements.push_back(twSample_Box(0, 0, 0, 1, 1, 1, 1, 0)); // alone: every face is open
    Prepare(m);
    Run();
    EXPECT_EQ(pWorld->iSamplesTotal, 0);
    EXPECT_EQ(twWorld_LightComplete(), 0);
    EXPECT_NE(strstr(pWorld->szLightPercent, "nan %"), nullptr);
}

// ---------------------------------------------------------------------------------------------
// The result files
// ---------------------------------------------------------------------------------------------

TEST_F(Bake, SavedThenLoadedEveryFlagAndLuxelComesBack)
{
    Prepare(RoomWithARoundThing());
    s_iAbortAfter = 400; // some surfaces done, some not
    twWorld_SetLightAbortCallback(AbortAfterSome);
    Run();
    std::vector<int> flags;
    std::vector<int> luxels;
    for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++) {
        TwSurface* pSurface = pWorld->ppSurfaces[i];
        flags.push_back(pSurface->bLit);
        luxels.push_back(Luxel(pSurface, pSurface->usLuxelsU / 2, pSurface->usLuxelsV / 2));
    }
    twWorld_FreeRad();
    ASSERT_EQ(twWorld_InitLight(0, nullptr), 1);
    ASSERT_EQ(twWorld_LoadLight(1, nullptr), 1);
    for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++) {
        TwSurface* pSurface = pWorld->ppSurfaces[i];
        EXPECT_EQ(pSurface->bLit, flags[i]) << i;
        EXPECT_EQ(Luxel(pSurface, pSurface->usLuxelsU / 2, pSurface->usLuxelsV / 2), luxels[i]) << i;
    }
    EXPECT_TRUE(twTest_LogHas("Meshes in file that will get vertex light = 1\n"));
}

// The result of a finished bake, damaged in one file; the load fails with the line, and
// the model stays
static bool LoadFailsWith(const char* pstrFile, const std::string& bytes, const char* pstrLine)
{
    twHarness_WriteText(Bake::dir + TW_LOG_FILE_NAME, "");
    std::string path = Bake::dir + "Temp/" + pstrFile;
    std::string good = twHarness_ReadFile(path);
    twHarness_WriteText(path, bytes);
    int iResult = twWorld_LoadLight(1, nullptr);
    twHarness_WriteText(path, good);
    return iResult == 0 && twTest_LogHas(pstrLine) && pWorld->bLoaded;
}

TEST_F(Bake, DamagedResultFilesAreRefusedWithTheirLine)
{
    Prepare(RoomWithARoundThing());
    Run();
    std::string s = Temp("LightS.bin"), m = Temp("LightM.bin");
    EXPECT_TRUE(LoadFailsWith("LightS.bin", "", "!Header not 'L_S'\n"));
    EXPECT_TRUE(LoadFailsWith("LightS.bin", s.substr(0, 5), "!the file is cut short\n"));
    std::string count = s;
    count[3]++;
    EXPECT_TRUE(LoadFailsWith("LightS.bin", count, "Lightmap count mismatch (expected"));
    count = s;
    count[7]++;
    EXPECT_TRUE(LoadFailsWith("LightS.bin", count, "Surface count mismatch (expected"));
    std::string running = s;
    running[11 + pWorld->uiNumSurfaces] = 9;
    EXPECT_TRUE(LoadFailsWith("LightS.bin", running, "Lightmap index mismatch (expected 0 found 9)\n"));
    EXPECT_TRUE(LoadFailsWith("LightS.bin", s.substr(0, s.size() - 1), "!the file is cut short\n"));
    EXPECT_TRUE(LoadFailsWith("LightM.bin", "L_X", "!Header not 'L_M'\n"));
    count = m;
    count[3]++;
    EXPECT_TRUE(LoadFailsWith("LightM.bin", count, "Mesh count mismatch (expected"));
    std::string index = m;
    index[11] = 99;
    EXPECT_TRUE(LoadFailsWith("LightM.bin", index, "Mesh index mismatch (expected"));
    EXPECT_TRUE(LoadFailsWith("LightM.bin", m.substr(0, m.size() - 1), "!the file is cut short\n"));
    EXPECT_EQ(twWorld_LoadLight(1, nullptr), 1);
}

TEST_F(Bake, AFolderThatTakesNoFileKeepsThePreviousSolutionWhole)
{
    Prepare(CornerAndTable());
    Run();
    std::string s = Temp("LightS.bin");
    twWorld_Free();
    Prepare(CornerAndTable());
    // a directory where the temporary file would go: nothing can be written
    std::string part = dir + "Temp/LightM.bin.part";
    mkdir(part.c_str(), 0755);
    Run();
    rmdir(part.c_str());
    EXPECT_TRUE(twTest_LogHas("!twWorld_SaveLight\n"));
    EXPECT_TRUE(Temp("LightS.bin") == s);
    EXPECT_EQ(access((dir + "Temp/LightS.bin.part").c_str(), F_OK), -1);
}

// The five files are one set: a job started on another frame leaves no result that the old
// frame's solution could be mixed with, and what waits under a temporary name is never taken
TEST_F(Bake, TheLightFilesInTempLoadOnlyAsOneSet)
{
    Prepare(CornerAndTable());
    Run();
    std::string s = Temp("LightS.bin"), m = Temp("LightM.bin");
    twWorld_Free();
    EXPECT_EQ(twWorld_SettleLightSet(), 1);

    // a stray result under its temporary name, as a kill before the set's renaming leaves it
    twHarness_WriteText(dir + "Temp/LightS.bin.part", "L_S and then nothing");
    EXPECT_EQ(twWorld_SettleLightSet(), 1);
    EXPECT_TRUE(Temp("LightS.bin") == s);
    EXPECT_EQ(access((dir + "Temp/LightS.bin.part").c_str(), F_OK), -1);

    // a new job at another range: killed before its end, it leaves a frame and no result
    twHarness_WriteFile(dir + "bake.bin", twExport_Write(CornerAndTable()));
    ASSERT_EQ(twWorld_LoadModel(nullptr, (dir + "bake.bin").c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1, nullptr),
              1);
    pWorld->fLightRangeInit *= 0.5f;
    ASSERT_EQ(twWorld_InitLight(1, nullptr), 1);
    twWorld_Free();
    EXPECT_EQ(twWorld_SettleLightSet(), 0);
    EXPECT_EQ(access((dir + "Temp/LightS.bin").c_str(), F_OK), -1);
    EXPECT_EQ(access((dir + "Temp/LightM.bin").c_str(), F_OK), -1);

    // a set whose file was changed behind its back is passed over
    Prepare(CornerAndTable());
    Run();
    twWorld_Free();
    twHarness_WriteText(dir + "Temp/LightM.bin", m + "x");
    twHarness_WriteText(dir + TW_LOG_FILE_NAME, "");
    EXPECT_EQ(twWorld_SettleLightSet(), 0);
    EXPECT_TRUE(twTest_LogHas("!LightM.bin doesn't match its set\n"));
}

// ---------------------------------------------------------------------------------------------
// The lit picture
// ---------------------------------------------------------------------------------------------

TEST_F(Bake, TheLitModeShowsTheLightTimesTheMaterial)
{
    TwExportModel m = CornerAndTable();
    m.materials[0].vDiffuse[0] = m.materials[0].vDiffuse[1] = m.materials[0].vDiffuse[2] = 1;
    Prepare(m);
    Run();
    TwCamera cam;
    twCamera_Init(&cam);
    twCamera_SetAspectFromWindow(&cam, 320, 240);
    cam.vPos[0] = 6;
    cam.vPos[1] = 5;
    cam.vPos[2] = 6;
    cam.fPitch = -89;
    cam.fFar = 100;
    twCamera_UpdateMatrices(&cam, 1);
    glViewport(0, 0, 320, 240);
    glClearColor(0, 0, 1, 0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glMatrixMode(GL_PROJECTION);
    glLoadMatrixf(cam.mProjection);
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixf(cam.mView);
    twWorld_DrawLit(1, 0, &cam, 0, 0, 0, 0.5f, 0, 1, 0);
    std::vector<uint8_t> pixels(320 * 240 * 4);
    glReadPixels(0, 0, 320, 240, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    // the middle of the floor: white light on a white floor through the exposure curve
    const uint8_t* pMiddle = &pixels[(120 * 320 + 160) * 4];
    EXPECT_GT(pMiddle[1], 200);
    EXPECT_EQ(pMiddle[0], pMiddle[1]);
    EXPECT_EQ(pMiddle[1], pMiddle[2]) << "the floor's, not the blue clear colour";
    // the corner's and the table's shade show as grey
    int iDarkest = 255;
    for (size_t i = 0; i < pixels.size(); i += 4)
        iDarkest = pixels[i + 1] < iDarkest ? pixels[i + 1] : iDarkest;
    EXPECT_LT(iDarkest, pMiddle[1] - 30);
    EXPECT_GT(pWorld->iNumIndicesDrawn, 0);
}
