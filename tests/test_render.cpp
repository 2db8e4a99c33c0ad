// Shader programs and the frame renderer, drawn on the test display and read back.
#include <gtest/gtest.h>
#include <GL/glew.h>
#include <string.h>

#include "engine/timer.h"
#include "interface/layers.h"
#include "interface/measure.h"
#include "interface/section.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "render/render.h"
#include "tests/support.h"
#include "tools/harness/samples.h"
#include "world/world.h"

struct Render : ::testing::Test {
    static std::string dir;
    static double dCompileSeconds;
    static void SetUpTestSuite()
    {
        ASSERT_EQ(twHarness_StartWorld(160, 120, 1), 1);
        dir = twHarness_Dir();
        double dStart = twTimer_Seconds();
        ASSERT_EQ(twWorld_InitShaders(), 1);
        dCompileSeconds = twTimer_Seconds() - dStart;
    }
    static void TearDownTestSuite()
    {
        twHarness_StopWorld();
    }
};
std::string Render::dir;
double Render::dCompileSeconds;

TEST_F(Render, EveryProgramCompiles)
{
    EXPECT_EQ(pWorld->iNumVertexPrograms, 32);
    EXPECT_EQ(pWorld->iNumFragmentPrograms, 2048);
    for (int k = 0; k < 32; k++)
        EXPECT_NE(pWorld->ahVertexPrograms[k], 0u);
    EXPECT_NE(pWorld->hFpSampler, 0u);
    // the fragment table fills as keys are drawn, each once
    double dStart = twTimer_Seconds();
    for (int k = 0; k < 2048; k++)
        EXPECT_NE(twWorld_FragmentProgram(k), 0u) << "key " << k;
    printf("start: %.2f s; the other 2,047 fragment programs at their first use: %.2f s\n", dCompileSeconds,
           twTimer_Seconds() - dStart);
    uint32_t h = twWorld_FragmentProgram(5);
    EXPECT_EQ(twWorld_FragmentProgram(5), h);
}

// ---------------------------------------------------------------------------------------------
// Drawing
// ---------------------------------------------------------------------------------------------

// A red box at the origin, a blue glass pane in front of it, a green box behind on layer 1
static TwExportModel Scene(void)
{
    TwExportModel m;
    TwExportMaterial red, glass, green;
    red.name = "Red";
    red.vDiffuse[0] = 0.8f;
    red.vDiffuse[1] = 0.2f;
    red.vDiffuse[2] = 0.1f;
    glass.name = "Glass";
    glass.vDiffuse[0] = glass.vDiffuse[1] = 0;
    glass.vDiffuse[2] = 1;
    glass.bIsTransparent = 1;
    green.name = "Green";
    green.vDiffuse[0] = green.vDiffuse[2] = 0;
    green.vDiffuse[1] = 1;
    m.materials = {red, glass, green};
    m.layers = {"Ground", "Back"};
    m.elements.push_back(twSample_Box(-1, -1, -1, 1, 1, 1, 1, 0));
    m.elements.push_back(twSample_Box(-0.5f, -0.5f, 2, 0.5f, 0.5f, 2.01f, 7, 1));
    m.elements.push_back(twSample_Box(-3, -3, -6, 3, 3, -5, 1, 2, 1));
    return m;
}

struct Draw : Render {
    TwCamera cam;
    void SetUp() override
    {
        twHarness_WriteFile(dir + "scene.bin", twExport_Write(Scene()));
        ASSERT_EQ(twWorld_LoadModel(nullptr, (dir + "scene.bin").c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1,
                                    nullptr),
                  1);
        twCamera_Init(&cam);
        twCamera_SetAspectFromWindow(&cam, 160, 120);
        cam.vPos[0] = 0;
        cam.vPos[1] = 0;
        cam.vPos[2] = 5;
        cam.fFar = 100;
        twCamera_UpdateMatrices(&cam, 1);
    }
    void TearDown() override { twWorld_Free(); }

    // one frame of the model in a mode; the centre pixel and the whole image come back
    std::vector<uint8_t> Frame(int iMode, int bTransparency = 1, int bVbo = 1, float fAlpha = 0.5f)
    {
        glViewport(0, 0, 160, 120);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glEnable(GL_DEPTH_TEST);
        glMatrixMode(GL_PROJECTION);
        glLoadMatrixf(cam.mProjection);
        glMatrixMode(GL_MODELVIEW);
        glLoadMatrixf(cam.mView);
        twWorld_Draw(bVbo, iMode, 0, &cam, 45, 45, 0, fAlpha, 1.0f, 0, bTransparency, 0);
        std::vector<uint8_t> pixels(160 * 120 * 3);
        glReadPixels(0, 0, 160, 120, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
        return pixels;
    }
    static const uint8_t* At(const std::vector<uint8_t>& p, int x, int y) { return &p[(y * 160 + x) * 3]; }
};

TEST_F(Draw, PlainColoursShowTheMaterial)
{
    std::vector<uint8_t> p = Frame(5, 0);
    const uint8_t* c = At(p, 80, 60);
    EXPECT_EQ(c[0], 204);
    EXPECT_EQ(c[1], 51);
    EXPECT_NEAR(c[2], 25, 1);
    EXPECT_EQ(pWorld->iNumIndicesDrawn, 2 * 36); // the glass waits for the second pass
    EXPECT_STREQ(pWorld->szDrawInfo, "24 / 36");
}

TEST_F(Draw, GlassComesOnlyInTheSecondPass)
{
    std::vector<uint8_t> p = Frame(5, 1);
    const uint8_t* c = At(p, 80, 60);
    // half the red box, half the blue glass
    EXPECT_NEAR(c[0], 102, 2);
    EXPECT_NEAR(c[2], 140, 3);
    EXPECT_EQ(pWorld->iNumIndicesDrawn, 3 * 36);
}

TEST_F(Draw, WhiteModeHasBlackEdges)
{
    std::vector<uint8_t> p = Frame(1, 0);
    const uint8_t* c = At(p, 80, 60);
    EXPECT_EQ(c[0], 255);
    EXPECT_EQ(c[1], 255);
    // along the middle row, the box's outline is black between the background and the white
    int iBlack = 0, iWhite = 0;
    for (int x = 0; x < 160; x++) {
        const uint8_t* q = At(p, x, 60);
        iWhite += q[0] == 255 && q[1] == 255;
        iBlack += q[0] == 0 && q[1] == 0 && q[2] == 0;
    }
    EXPECT_GT(iWhite, 20);
    EXPECT_GT(pWorld->iNumDrawCalls, 0);
    // the image's silhouette: the first lit pixel from the left is an edge
    int x = 0;
    const uint8_t* q;
    while (x < 80 && (q = At(p, x, 61))[0] == 0 && q[1] == 0 && q[2] == 0)
        x++;
    for (; x < 80; x++) {
        q = At(p, x, 61);
        if (q[0] == 255 && q[1] == 255)
            break;
    }
    EXPECT_LT(x, 80);
    (void)iBlack;
}

TEST_F(Draw, HeadLampAndSunLightTheMaterial)
{
    for (int iMode : {3, 4}) {
        std::vector<uint8_t> p = Frame(iMode, 0);
        const uint8_t* c = At(p, 80, 60);
        EXPECT_GT(c[0], 40) << "mode " << iMode;
        EXPECT_GT(c[0], c[1]) << "mode " << iMode;
        EXPECT_GE(c[1], c[2]) << "mode " << iMode;
    }
    std::vector<uint8_t> p = Frame(2, 0); // grey: no colour
    const uint8_t* c = At(p, 80, 60);
    EXPECT_EQ(c[0], c[1]);
    EXPECT_EQ(c[1], c[2]);
    EXPECT_GT(c[0], 60);
}

TEST_F(Draw, BuffersAndMemoryDrawTheSame)
{
    std::vector<uint8_t> fromBuffers = Frame(3, 1, 1);
    twWorld_Free();
    ASSERT_EQ(twWorld_LoadModel(nullptr, (dir + "scene.bin").c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0,
                                nullptr),
              1);
    EXPECT_EQ(fromBuffers, Frame(3, 1, 0));
}

TEST_F(Draw, HiddenLayersAreNotDrawn)
{
    // the green box behind shows around the red one
    std::vector<uint8_t> p = Frame(5, 0);
    EXPECT_EQ(At(p, 53, 60)[1], 255);
    int32_t bHidden = 0;
    memcpy(twLayers_GetLayer(1) + TW_LAYER_VISIBLE_OFFSET, &bHidden, 4);
    twWorld_UpdateHiddenElements();
    p = Frame(5, 0);
    EXPECT_EQ(At(p, 53, 60)[1], 0);
    EXPECT_EQ(At(p, 80, 60)[0], 204); // the red box, on the visible layer, stays
    int32_t bShown = 1;
    memcpy(twLayers_GetLayer(1) + TW_LAYER_VISIBLE_OFFSET, &bShown, 4);
    twWorld_UpdateHiddenElements();
}

// A plane through the red box's middle keeps what lies behind z = 0: the box's front half and
// the glass before it go, in a mode of programs and in one of the fixed pipeline alike. Where
// the solid was, its face is filled in the cap's colours; without caps its inside shows.
TEST_F(Draw, ACutTakesAwayTheFrontAndFillsTheSolid)
{
    const float afPlane[4] = {0, 0, -1, 0};
    memcpy(pWorld->aafCutPlanes[0], afPlane, sizeof(afPlane));
    pWorld->iNumCutPlanes = 1;
    pWorld->uiCutVersion++;
    auto Cut = [&](int iMode, int bCaps) {
        pWorld->bCutCaps = bCaps;
        Frame(iMode, 1);
        twWorld_DrawCaps();
        std::vector<uint8_t> pixels(160 * 120 * 3);
        glReadPixels(0, 0, 160, 120, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
        return pixels;
    };
    auto IsCap = [](const uint8_t* c) {
        for (const float* pf : {TW_CAP_COLOUR, TW_CAP_HATCH_COLOUR})
            if (abs(c[0] - (int)(pf[0] * 255 + 0.5f)) <= 2 && abs(c[1] - (int)(pf[1] * 255 + 0.5f)) <= 2 &&
                abs(c[2] - (int)(pf[2] * 255 + 0.5f)) <= 2)
                return true;
        return false;
    };
    for (int iMode : {5, 3}) {
        std::vector<uint8_t> p = Cut(iMode, 1);
        int iCap = 0;
        for (int x = 60; x < 100; x++)
            iCap += IsCap(At(p, x, 60));
        EXPECT_GT(iCap, 30) << "mode " << iMode; // the box's section, less its outline
        EXPECT_LT(At(p, 80, 60)[2], 60) << "mode " << iMode << ": no blue glass before it";
        EXPECT_GT(At(p, 53, 60)[1], 150) << "mode " << iMode << ": the green box behind";
    }
    std::vector<uint8_t> p = Cut(5, 0);
    EXPECT_FALSE(IsCap(At(p, 80, 60)));
    EXPECT_EQ(At(p, 80, 60)[0], 204) << "the box's far side, seen from inside";
    pWorld->iNumCutPlanes = 0;
}

// Isolation, X-ray and hidden classes reach the elements that show. Without a side file an
// element is kept by its class, and its class is its type: the boxes are walls, the pane glass
TEST_F(Draw, IsolationXrayAndHiddenClassesFollowTheClass)
{
    ASSERT_EQ(twSection_Init(), 1);
    auto Shown = [](int e) { return twWorld_ElementShown(&pWorld->pElements[e]); };
    ASSERT_EQ(twSection_SetFocus(TW_FOCUS_ISOLATE, 1, 0), 1);
    EXPECT_EQ(pSection->bFocusClass, 1);
    EXPECT_TRUE(!Shown(0) && Shown(1) && !Shown(2));
    std::vector<uint8_t> p = Frame(5, 1);
    EXPECT_LT(At(p, 80, 60)[0], 30) << "the pane alone, over nothing";
    ASSERT_EQ(twSection_SetFocus(TW_FOCUS_XRAY, 0, 1), 1); // the walls solid, the pane glass
    EXPECT_TRUE(Shown(0) && !Shown(1) && Shown(2));
    EXPECT_EQ(pWorld->iNumGlass, 1);
    twSection_SetFocus(TW_FOCUS_NONE, -1, 0);
    EXPECT_EQ(pWorld->iNumGlass, 0);
    twSection_FindClasses();
    ASSERT_EQ(pSection->iNumClasses, 2);
    char szClass[TW_SECTION_ID_SIZE];
    const char* pstrWall = twSection_ElementClass(0, szClass, sizeof(szClass));
    int iWall = strcmp(pSection->aszClasses[0], pstrWall) ? 1 : 0;
    twSection_ToggleClass(iWall);
    EXPECT_TRUE(!Shown(0) && Shown(1) && !Shown(2));
    twSection_ToggleClass(iWall);
    EXPECT_TRUE(Shown(0) && Shown(1) && Shown(2));
    twSection_Free();
}

// The measure tool reads the drawn depth under the centre: the box's front face is 4 m from
// the eye, and two points 1.8 m apart across it measure so, within a centimetre
TEST_F(Draw, MeasureReadsTheDrawnDepth)
{
    ASSERT_EQ(twMeasure_Init(), 1);
    float afDistances[2];
    for (int i = 0; i < 2; i++) {
        cam.vPos[0] = i ? 0.9f : -0.9f;
        twCamera_UpdateMatrices(&cam, 1);
        Frame(3, 0);
        twMeasure_Pick(&cam, 80, 60);
        afDistances[i] = pMeasure->fEyeDistance;
        twMeasure_Click();
        EXPECT_EQ(pMeasure->bMeasuring, i == 0);
    }
    EXPECT_NEAR(afDistances[0], 4.0f, 0.01f);
    EXPECT_NEAR(pMeasure->vPoint[2], 1.0f, 0.01f);
    EXPECT_EQ(pMeasure->bMeasuring, 0);
    EXPECT_EQ(pMeasure->bHasResult, 1);
    EXPECT_NEAR(pMeasure->fDistance, 1.8f, 0.01f);
    // leaving the mode keeps the result
    twMeasure_Reset();
    EXPECT_NEAR(pMeasure->fDistance, 1.8f, 0.01f);
    cam.vPos[0] = 0;
    twMeasure_Free();
}

// Tab's kinds on a floor of 4 x 4 m with a 1 x 1 m opening, made of four slabs in one element,
// a 0.45 m platform on it and a wall at its back. The floor's top face measures 15 m2: its
// sides, the opening and the platform's top in another element stay out
TEST_F(Draw, MeasureAngleAreaAndParallelFaces)
{
    TwExportModel model;
    model.materials = {TwExportMaterial()};
    model.layers = {"Ground"};
    TwExportElement floor;
    const float aafSlabs[4][4] = {{-2, -2, 2, -1}, {-2, 0, 2, 2}, {-2, -1, -1, 0}, {0, -1, 2, 0}};
    for (const float* p : aafSlabs) {
        float afMin[3] = {p[0], -0.2f, p[1]}, afMax[3] = {p[2], 0, p[3]};
        floor.meshes.push_back(twExport_BoxMesh(afMin, afMax, 0));
    }
    model.elements = {floor, twSample_Box(1, 0, 1, 2, 0.45f, 2, 1, 0), twSample_Box(-2, 0, -2.5f, 2, 2, -2, 1, 0)};
    twWorld_Free();
    twHarness_WriteFile(dir + "floor.bin", twExport_Write(model));
    ASSERT_EQ(twWorld_LoadModel(nullptr, (dir + "floor.bin").c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1,
                                nullptr),
              1);
    ASSERT_EQ(twMeasure_Init(), 1);
    auto Look = [&](float x, float y, float z, float fPitch) {
        cam.vPos[0] = x;
        cam.vPos[1] = y;
        cam.vPos[2] = z;
        cam.fPitch = fPitch;
        twCamera_UpdateMatrices(&cam, 1);
        Frame(5, 0);
        twMeasure_Pick(&cam, 80, 60);
    };
    // the angle at the second of three points; a fourth click starts again
    twMeasure_NextKind();
    ASSERT_EQ(pMeasure->iKind, TW_MEASURE_ANGLE);
    const float aafPoints[4][3] = {{3, 0, 0}, {0, 0, 0}, {0, 0, 2}, {5, 0, 5}};
    for (const float* pv : aafPoints) {
        memcpy(pMeasure->vPoint, pv, sizeof(pMeasure->vPoint));
        twMeasure_Click();
    }
    EXPECT_EQ(pMeasure->iAnglePoints, 1);
    memcpy(pMeasure->vPoint, aafPoints[1], sizeof(pMeasure->vPoint));
    twMeasure_Click();
    memcpy(pMeasure->vPoint, aafPoints[2], sizeof(pMeasure->vPoint));
    twMeasure_Click();
    EXPECT_NEAR(pMeasure->fAngle, 45.0f, 0.01f); // (5, 0, 5), the corner, (0, 0, 2)
    // the area of the face looked down on
    twMeasure_NextKind();
    Look(0.5f, 5, 0.5f, -90);
    twMeasure_Click();
    ASSERT_EQ(pMeasure->iFaces, 1);
    EXPECT_NEAR(pMeasure->aFaces[0].fArea, 15.0f, 1e-3f);
    EXPECT_NEAR(pMeasure->aFaces[0].vNormal[1], 1.0f, 1e-4f);
    Look(-0.5f, 5, -0.5f, -90); // through the opening, the floor below it: none
    twMeasure_Click();
    EXPECT_EQ(pMeasure->bNoFace, 1);
    Look(1.5f, 5, 1.5f, -90); // the platform's top
    twMeasure_Click();
    EXPECT_NEAR(pMeasure->aFaces[0].fArea, 1.0f, 1e-3f);
    // between faces: the floor and the platform's top are 0.45 m apart; the wall stands at 90 degrees
    twMeasure_NextKind();
    Look(0.5f, 5, 0.5f, -90);
    twMeasure_Click();
    Look(1.5f, 5, 1.5f, -90);
    twMeasure_Click();
    EXPECT_EQ(pMeasure->bParallel, 1);
    EXPECT_NEAR(pMeasure->fFaceDistance, 0.45f, 1e-3f);
    EXPECT_NEAR(pMeasure->vFoot[1], 0.0f, 1e-3f);
    Look(0.5f, 5, 0.5f, -90);
    twMeasure_Click(); // starts again
    Look(0, 1, 3, 0);
    twMeasure_Click();
    EXPECT_EQ(pMeasure->iFaces, 2);
    EXPECT_EQ(pMeasure->bParallel, 0);
    EXPECT_NEAR(pMeasure->fAngle, 90.0f, 0.01f);
    twMeasure_Free();
    cam.fPitch = 0;
}

// With Shift a point takes the corner or the edge within 12 pixels of the cross, if it is
// seen and on a shown layer: the box's front corner (1, 1, 1) stands 23.8 pixels right of
// and above the middle; the green box behind is on a hidden layer
TEST_F(Draw, MeasureSnapsToCornersAndEdges)
{
    ASSERT_EQ(twMeasure_Init(), 1);
    int32_t bHidden = 0, bShown = 1;
    memcpy(twLayers_GetLayer(1) + TW_LAYER_VISIBLE_OFFSET, &bHidden, 4);
    twWorld_UpdateHiddenElements();
    Frame(3, 0);
    pWorld->uiVisibleFrame = 0; // every group counts as seen
    struct Case {
        int x, y;
        int bSnapped;
        float vPoint[3];
    };
    const Case aCases[] = {
        {106, 86, 1, {1, 1, 1}},      // 2 px off the corner
        {110, 60, 1, {1, 0, 1}},      // 6 px off the right edge, far from its corners
        {103, 35, 1, {1, -1, 1}},     // the lower corner, not the edge above it
        {80 + 50, 60, 0, {0, 0, 0}},  // nothing near: the drawn depth stands
    };
    for (const Case& c : aCases) {
        twMeasure_Pick(&cam, c.x, c.y);
        float afPicked[3];
        memcpy(afPicked, pMeasure->vPoint, sizeof(afPicked));
        twMeasure_Snap(&cam, c.x, c.y);
        EXPECT_EQ(pMeasure->bSnapped, c.bSnapped) << c.x << "," << c.y;
        for (int i = 0; i < 3; i++)
            EXPECT_NEAR(pMeasure->vPoint[i], c.bSnapped ? c.vPoint[i] : afPicked[i], 0.02f) << c.x << "," << c.y;
    }
    // the back corner (1, 1, -1) is behind the front face: never taken
    twMeasure_Pick(&cam, 96, 76);
    twMeasure_Snap(&cam, 96, 76);
    EXPECT_GT(pMeasure->vPoint[2], 0.5f);
    memcpy(twLayers_GetLayer(1) + TW_LAYER_VISIBLE_OFFSET, &bShown, 4);
    twWorld_UpdateHiddenElements();
    twMeasure_Free();
}
