// The sun's shadow map and the flare, drawn on the test display and read back: a wall on a
// floor in the head-lamp mode with the sun's shadow, glass beside it, the sun moved.
#include <GL/glew.h>
#include <gtest/gtest.h>
#include <math.h>

#include "navigation/camera.h"
#include "platform/ogl.h"
#include "render/render.h"
#include "tests/support.h"
#include "tools/harness/samples.h"
#include "world/world.h"

#define W 320
#define H 240

struct Shadows : ::testing::Test {
    static std::string dir;
    TwCamera cam, sun;

    static void SetUpTestSuite()
    {
        ASSERT_EQ(twHarness_StartWorld(W, H, 1), 1);
        dir = twHarness_Dir();
        ASSERT_EQ(twWorld_InitShaders(), 1);
    }
    static void TearDownTestSuite() { twHarness_StopWorld(); }

    // a floor, a wall across it along Z, and a glass pane of the same size further on
    void SetUp() override
    {
        TwExportModel m;
        TwExportMaterial grey, glass;
        grey.name = "Grey";
        glass.name = "Glass";
        glass.bIsTransparent = 1;
        glass.vDiffuse[2] = 1;
        m.materials = {grey, glass};
        m.layers = {"Ground"};
        m.elements.push_back(twSample_Box(-10, -0.2f, -10, 10, 0, 10, 2, 0));
        m.elements.push_back(twSample_Box(-0.1f, 0, -6, 0.1f, 3, -1, 1, 0));
        m.elements.push_back(twSample_Box(-0.1f, 0, 1, 0.1f, 3, 6, 7, 1));
        twHarness_WriteFile(dir + "sun.bin", twExport_Write(m));
        ASSERT_EQ(twWorld_LoadModel(nullptr, (dir + "sun.bin").c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1,
                                    nullptr),
                  1);
        // the eye high over the floor, looking straight down
        twCamera_Init(&cam);
        twCamera_SetAspectFromWindow(&cam, W, H);
        cam.vPos[0] = 0;
        cam.vPos[1] = 14;
        cam.vPos[2] = 0;
        cam.fPitch = -89.9f;
        cam.fYaw = 0;
        cam.fFar = 100;
        twCamera_UpdateMatrices(&cam, 1);
    }
    void TearDown() override { twWorld_Free(); }

    void SunFrom(float fAltitude, float fAzimuth)
    {
        twCamera_Init(&sun);
        sun.fOrthoPitch = -fAltitude;
        sun.fOrthoYaw = fAzimuth;
        twWorld_PlaceSunCamera(&sun);
        twCamera_UpdateSunMatrices(&sun);
        twWorld_UpdateShadowMatrices(&sun);
        ASSERT_EQ(twWorld_RenderShadowMap(&sun, 1, 1), 1);
    }

    // the frame in the head-lamp mode with the sun's shadow at strength 0.5
    std::vector<uint8_t> Frame(float fShadow)
    {
        glViewport(0, 0, W, H);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glEnable(GL_DEPTH_TEST);
        glMatrixMode(GL_PROJECTION);
        glLoadMatrixf(cam.mProjection);
        glMatrixMode(GL_MODELVIEW);
        glLoadMatrixf(cam.mView);
        glProgramEnvParameter4fARB(GL_FRAGMENT_PROGRAM_ARB, 8, fShadow, 0, 0, 0);
        twWorld_Draw(1, 3, 0, &cam, 0, 0, fShadow, 0.5f, 1.0f, 0, 1, 1);
        std::vector<uint8_t> pixels(W * H * 3);
        glReadPixels(0, 0, W, H, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
        return pixels;
    }

    // the brightness of the floor at a point, as the eye sees it
    int FloorAt(const std::vector<uint8_t>& p, float x, float z)
    {
        float v[4] = {x, 0, z, 1}, e[4], c[4];
        for (int i = 0; i < 4; i++)
            e[i] = cam.mView[i] * v[0] + cam.mView[4 + i] * v[1] + cam.mView[8 + i] * v[2] + cam.mView[12 + i];
        for (int i = 0; i < 4; i++)
            c[i] = cam.mProjection[i] * e[0] + cam.mProjection[4 + i] * e[1] + cam.mProjection[8 + i] * e[2] +
                   cam.mProjection[12 + i] * e[3];
        int px = (int)((c[0] / c[3] * 0.5f + 0.5f) * W), py = (int)((c[1] / c[3] * 0.5f + 0.5f) * H);
        EXPECT_TRUE(px >= 0 && px < W && py >= 0 && py < H) << x << ", " << z;
        px = px < 0 ? 0 : px >= W ? W - 1 : px;
        py = py < 0 ? 0 : py >= H ? H - 1 : py;
        const uint8_t* c8 = &p[(py * W + px) * 3];
        return c8[0] + c8[1] + c8[2];
    }
};
std::string Shadows::dir;

TEST_F(Shadows, TheMapSearchStartsAtTheDriversLimit)
{
    twWorld_FreeShadows();
    int iMax = pOgl->iMaxTextureSize;
    pOgl->iMaxTextureSize = 1024;
    EXPECT_EQ(twWorld_InitShadows(), 1);
    pOgl->iMaxTextureSize = iMax;
    EXPECT_TRUE(twTest_LogHas("Trying to create 1024 x 1024\n"));
    EXPECT_FALSE(twTest_LogHas("Trying to create 4096 x 4096\n"));
    EXPECT_EQ(pWorld->iShadowSize, 1024);
    EXPECT_GE(pWorld->iShadowDepthBits, 16);
    EXPECT_EQ(twWorld_ShadowsReady(), 1);
}

TEST_F(Shadows, AWallShadowsTheFloorOnTheSunsFarSideAndGlassDoesNot)
{
    if (!twWorld_ShadowsReady()) {
        ASSERT_EQ(twWorld_InitShadows(), 1);
    }
    for (float fAzimuth : {90.0f, 270.0f}) {
        SunFrom(45, fAzimuth);
        // the light travels along the sun's direction: the shadow lies on that side of the wall
        float fSide = sun.vOrthoDir[0] > 0 ? 1.0f : -1.0f;
        ASSERT_GT(fabsf(sun.vOrthoDir[0]), 0.5f);
        std::vector<uint8_t> p = Frame(0.5f);
        int iShade = FloorAt(p, fSide * 1.5f, -3.5f), iLit = FloorAt(p, -fSide * 1.5f, -3.5f);
        int iBehindGlass = FloorAt(p, fSide * 1.5f, 3.5f);
        EXPECT_LT(iShade + 40, iLit) << "sun from " << fAzimuth;
        EXPECT_GT(iBehindGlass + 20, iLit) << "sun from " << fAzimuth;
        // far from the wall the floor is lit on both sides
        EXPECT_NEAR(FloorAt(p, fSide * 8, -3.5f), FloorAt(p, -fSide * 8, -3.5f), 20);
    }
}

// The map is drawn of what the cut leaves: with the wall cut down to 5 cm its shadow is gone
TEST_F(Shadows, TheShadowFollowsTheCut)
{
    if (!twWorld_ShadowsReady()) {
        ASSERT_EQ(twWorld_InitShadows(), 1);
    }
    const float afPlane[4] = {0, -1, 0, 0.05f};
    memcpy(pWorld->aafCutPlanes[0], afPlane, sizeof(afPlane));
    pWorld->iNumCutPlanes = 1;
    SunFrom(45, 90);
    float fSide = sun.vOrthoDir[0] > 0 ? 1.0f : -1.0f;
    std::vector<uint8_t> p = Frame(0.5f);
    EXPECT_NEAR(FloorAt(p, fSide * 1.5f, -3.5f), FloorAt(p, -fSide * 1.5f, -3.5f), 20);
    pWorld->iNumCutPlanes = 0;
    SunFrom(45, 90);
    p = Frame(0.5f);
    EXPECT_LT(FloorAt(p, fSide * 1.5f, -3.5f) + 40, FloorAt(p, -fSide * 1.5f, -3.5f)) << "uncut, the shade is back";
}

TEST_F(Shadows, TheFlareGrowsWithTheSunsShareAndGoesWhenItIsHidden)
{
    // the eye looking toward the sky's sun, which stands toward +Z at a sky angle of 0
    cam.vPos[1] = 1.5f;
    cam.fPitch = 25;
    cam.fYaw = 180;
    twCamera_UpdateMatrices(&cam, 1);
    auto Centre = [&](int iSkyPixels, uint32_t uiSeen) {
        pWorld->iSkyPixels = iSkyPixels;
        pWorld->uiSkySeenFrame = uiSeen;
        twTest_PixelView(W, H);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        twWorld_DrawFlare(&cam, W, H, 0);
        uint8_t aucMax[3] = {0, 0, 0};
        std::vector<uint8_t> pixels(W * H * 3);
        glReadPixels(0, 0, W, H, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
        for (size_t i = 0; i < pixels.size(); i++)
            aucMax[i % 3] = pixels[i] > aucMax[i % 3] ? pixels[i] : aucMax[i % 3];
        return aucMax[0] + aucMax[1] + aucMax[2];
    };
    pWorld->uiVisibleFrame = 100;
    int iFull = Centre(1000, 100), iHalf = Centre(500, 100), iNone = Centre(0, 100), iHidden = Centre(1000, 90);
    EXPECT_GT(iFull, 300);
    EXPECT_GT(iFull, iHalf);
    EXPECT_GT(iHalf, iNone);
    EXPECT_EQ(iNone, 0);
    EXPECT_EQ(iHidden, 0); // not seen in the last sweeps: not drawn
}

TEST_F(Shadows, TheMapHasNoSunlitLinesAtItsTileSeams)
{
    if (!twWorld_ShadowsReady()) {
        ASSERT_EQ(twWorld_InitShadows(), 1);
    }
    glEnable(GL_DEPTH_TEST);
    SunFrom(60, 200);
    int n = pWorld->iShadowSize;
    std::vector<float> depth((size_t)n * n);
    glActiveTexture(GL_TEXTURE2);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_DEPTH_COMPONENT, GL_FLOAT, depth.data());
    glActiveTexture(GL_TEXTURE0);
    // the floor is whole: no texel two from the model on both sides may miss it, across
    // the lines of the map and along them
    auto At = [&](int x, int y) { return depth[(size_t)y * n + x]; };
    int iCovered = 0, iGaps = 0;
    for (int y = 2; y < n - 2; y += 7) {
        for (int x = 2; x < n - 2; x++) {
            if (At(x - 2, y) < 1 && At(x + 2, y) < 1) {
                iCovered++;
                iGaps += At(x, y) >= 1;
            }
            if (At(y, x - 2) < 1 && At(y, x + 2) < 1)
                iGaps += At(y, x) >= 1;
        }
    }
    EXPECT_GT(iCovered, n);
    EXPECT_EQ(iGaps, 0);
}
