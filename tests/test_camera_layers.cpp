// The camera's angles, matrices, frustum test, ranges and top view; the layer table.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include "engine/memory.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "tests/support.h"
#include "world/world.h"

struct Camera : ::testing::Test {
    TwCamera cam;
    void SetUp() override
    {
        twHarness_StartServices();
        twCamera_Init(&cam);
    }
    void TearDown() override { twHarness_StopServices(); }

    // a world record with just its box, for the range rules
    void FakeWorld(float fHalf)
    {
        pWorld = (TwWorld*)twMem_Malloc(sizeof(TwWorld), "pWorld");
        pWorld->bLoaded = 1;
        for (int i = 0; i < 3; i++) {
            pWorld->vHalfSize[i] = fHalf;
            pWorld->vBuildingHalfSize[i] = fHalf;
        }
        pWorld->fRadius = pWorld->fBuildingRadius = fHalf * sqrtf(3.0f);
    }
    void DropWorld()
    {
        twMem_Free(pWorld);
        pWorld = nullptr;
    }
};

static void Transform(const float* m, const float* p, float* pOut)
{
    for (int r = 0; r < 4; r++)
        pOut[r] = m[r] * p[0] + m[4 + r] * p[1] + m[8 + r] * p[2] + m[12 + r] * p[3];
}

// A fresh camera stands at eye height looking along -Z and sees 80 degrees across the
// window; the height it sees follows the window's shape, which a window without height
// can't change
TEST_F(Camera, AFreshCameraSeesEightyDegreesAcrossTheWindow)
{
    ASSERT_EQ(twCamera_SetAspectFromWindow(&cam, 1280, 1024), 1);
    EXPECT_EQ(twCamera_SetAspectFromWindow(&cam, 1280, 0), 0);
    EXPECT_TRUE(twTest_LogHas("twCamera_SetAspectFromWindow\n  invalid input\n"));
    twCamera_UpdateMatrices(&cam, 1);
    float fEdge = 10 * tanf(40 * 0.017453f);
    const float afPoints[3][4] = {{0, 1.6f, -10, 1}, {fEdge, 1.6f, -10, 1}, {0, 1.6f + fEdge * 1024 / 1280, -10, 1}};
    const float afScreen[3][2] = {{0, 0}, {1, 0}, {0, 1}};
    for (int i = 0; i < 3; i++) {
        float afClip[4];
        Transform(cam.mViewProj, afPoints[i], afClip);
        EXPECT_NEAR(afClip[0] / afClip[3], afScreen[i][0], 1e-3) << i;
        EXPECT_NEAR(afClip[1] / afClip[3], afScreen[i][1], 1e-3) << i;
    }
}

TEST_F(Camera, ViewMatrixPutsWhatTheCameraFacesInFront)
{
    cam.vPos[0] = 3;
    cam.vPos[1] = 2;
    cam.vPos[2] = 1;
    cam.fYaw = 90; // yaw 0 faces -Z; 90 faces -X
    cam.fPitch = 20;
    twCamera_UpdateMatrices(&cam, 1);
    float afDir[3];
    twCamera_DirFromAngles(cam.fPitch, cam.fYaw, afDir);
    EXPECT_NEAR(afDir[0], -cosf(20 * 0.017453f), 1e-4);
    float afAhead[4] = {3 + afDir[0] * 5, 2 + afDir[1] * 5, 1 + afDir[2] * 5, 1}, afView[4];
    Transform(cam.mView, afAhead, afView);
    EXPECT_NEAR(afView[0], 0, 1e-4);
    EXPECT_NEAR(afView[1], 0, 1e-4);
    EXPECT_NEAR(afView[2], -5, 1e-4);
    // the projection: horizontal field of view, and the inverse undoes the whole
    float t = tanf(80 * 0.008726f);
    EXPECT_FLOAT_EQ(cam.mProjection[0], 1 / t);
    EXPECT_FLOAT_EQ(cam.mProjection[5], 1 / (t * cam.fInvAspect));
    EXPECT_FLOAT_EQ(cam.mProjection[11], -1);
    float afClip[4], afBack[4];
    Transform(cam.mViewProj, afAhead, afClip);
    Transform(cam.mViewProjInverse, afClip, afBack);
    for (int i = 0; i < 3; i++)
        EXPECT_NEAR(afBack[i] / afBack[3], afAhead[i], 1e-3);
}

TEST_F(Camera, FrustumTestsFourPlanesOnly)
{
    twCamera_UpdateMatrices(&cam, 1);
    float afHalf[3] = {0.5f, 0.5f, 0.5f};
    float afAhead[3] = {0, 1.6f, -10}, afBehind[3] = {0, 1.6f, 10}, afLeft[3] = {-50, 1.6f, -10};
    float afBelow[3] = {0, -200, -10}, afFar[3] = {0, 1.6f, -5000};
    EXPECT_EQ(twCamera_BoxInFrustum(&cam, afAhead, afHalf), 1);
    EXPECT_EQ(twCamera_BoxInFrustum(&cam, afBehind, afHalf), 0);
    EXPECT_EQ(twCamera_BoxInFrustum(&cam, afLeft, afHalf), 0);
    // the bottom and far planes aren't tested
    EXPECT_EQ(twCamera_BoxInFrustum(&cam, afBelow, afHalf), 1);
    EXPECT_EQ(twCamera_BoxInFrustum(&cam, afFar, afHalf), 1);
}

TEST_F(Camera, LookAtMouseLookAndUp)
{
    float afTarget[3] = {0, 1.6f, 0};
    EXPECT_EQ(twCamera_LookAt(&cam, afTarget), 0); // the target at the eye
    EXPECT_TRUE(twTest_LogHas("!target at the eye\n"));
    float afAim[3] = {-1, 1.6f, 0};
    ASSERT_EQ(twCamera_LookAt(&cam, afAim), 1);
    EXPECT_NEAR(cam.fYaw, 90, 1e-3);
    EXPECT_NEAR(cam.fPitch, 0, 1e-3);
    twCamera_MouseLook(&cam, 10, -1000);
    EXPECT_FLOAT_EQ(cam.fPitch, 89);
    EXPECT_NEAR(cam.fYaw, 90 - 1.5f, 1e-4);
    cam.bInvertMouse = 1;
    twCamera_MouseLook(&cam, 0, -2000);
    EXPECT_FLOAT_EQ(cam.fPitch, -89);
    cam.bTopView = 1;
    twCamera_MouseLook(&cam, 20, 0);
    EXPECT_FLOAT_EQ(cam.fOrthoYaw, -3);
    // up is at right angles to the view (outside the level band, where the view's height
    // is taken as positive), and a level view gets the world's up
    for (float fPitch : {-60.0f, 0.0f, 30.0f, 80.0f}) {
        float afDir[3], afUp[3];
        twCamera_DirFromAngles(fPitch, 37, afDir);
        twCamera_GetUp(afDir, afUp);
        EXPECT_NEAR(afDir[0] * afUp[0] + afDir[1] * afUp[1] + afDir[2] * afUp[2], 0, 1e-4) << fPitch;
        if (fPitch == 0) {
            EXPECT_NEAR(afUp[1], 1, 1e-5);
        }
    }
}

TEST_F(Camera, RangesFollowTheDistanceToTheModel)
{
    float fNear = 0, fFar = 0;
    twWorld_SetCameraRange(&cam, &fNear, &fFar); // no world: nothing
    EXPECT_EQ(fNear, 0);
    FakeWorld(1);
    cam.vPos[0] = 0;
    twWorld_SetCameraRange(&cam, &fNear, &fFar);
    EXPECT_FLOAT_EQ(fNear, 0.1f);
    EXPECT_FLOAT_EQ(fFar, 200); // a small model still sees 200 m
    cam.vPos[0] = 10;
    twWorld_SetCameraRange(&cam, &fNear, &fFar);
    EXPECT_FLOAT_EQ(fNear, 1.0f);
    cam.vPos[0] = 30;
    twWorld_SetCameraRange(&cam, &fNear, &fFar);
    EXPECT_FLOAT_EQ(fNear, 10.0f);
    cam.vPos[0] = 500;
    twWorld_SetCameraRange(&cam, nullptr, nullptr);
    EXPECT_NEAR(cam.fFar, sqrtf(500 * 500 + 1.6f * 1.6f) + sqrtf(3.0f), 1e-2);
    DropWorld();
}

TEST_F(Camera, TopViewZoomPanAndSunFit)
{
    cam.fOrthoHalfWidth = 1.1f;
    cam.fOrthoHalfHeight = 1.1f;
    twCamera_TopZoom(&cam, 120);
    EXPECT_FLOAT_EQ(cam.fOrthoHalfWidth, 0.5f);
    twCamera_TopZoom(&cam, -120);
    EXPECT_FLOAT_EQ(cam.fOrthoHalfWidth, 0.625f);
    cam.fOrthoYaw = 0;
    twCamera_TopPan(&cam, 0, 4);
    EXPECT_NEAR(cam.vOrthoCentre[2], -1, 1e-3); // along yaw - 180: cosine is -1
    twCamera_TopPan(&cam, 4, 0);
    EXPECT_NEAR(cam.vOrthoCentre[0], -1, 1e-3);

    FakeWorld(2);
    TwCamera sun;
    twCamera_Init(&sun);
    sun.fOrthoPitch = -90 + 1e-3f; // straight down, nearly
    sun.fOrthoYaw = 0;
    twWorld_PlaceSunCamera(&sun);
    EXPECT_NEAR(sun.fOrthoHalfWidth, 2, 1e-2);
    EXPECT_NEAR(sun.fOrthoHalfHeight, 2, 1e-2);
    EXPECT_FLOAT_EQ(sun.fOrthoDepth, pWorld->fRadius);
    twCamera_UpdateSunMatrices(&sun);
    EXPECT_FLOAT_EQ(sun.mProjection[0], 1 / sun.fOrthoHalfWidth);
    EXPECT_FLOAT_EQ(sun.mProjection[10], -1 / sun.fOrthoDepth);
    DropWorld();
}

// ---------------------------------------------------------------------------------------------
// Layers
// ---------------------------------------------------------------------------------------------

struct Layers : ::testing::Test {
    std::string dir;
    void SetUp() override
    {
        dir = twHarness_StartServices();
        ASSERT_EQ(twLayers_Init(3), 1);
    }
    void TearDown() override
    {
        twLayers_Free();
        twHarness_StopServices();
    }
    FILE* Records(int iCount)
    {
        std::vector<uint8_t> bytes(iCount * TW_LAYER_SIZE, 0);
        for (int i = 0; i < iCount; i++)
            snprintf((char*)&bytes[i * TW_LAYER_SIZE + TW_LAYER_NAME_OFFSET], 32, "Layer %d", i);
        twHarness_WriteFile(dir + "layers", bytes);
        return fopen((dir + "layers").c_str(), "rb");
    }
};

TEST_F(Layers, PagesAndPointers)
{
    EXPECT_EQ(twLayers_Init(3), 0);
    EXPECT_TRUE(twTest_LogHas("Already initialized\n"));
    FILE* pFile = Records(3);
    ASSERT_EQ(twLayers_Load(pFile, 3), 1);
    fclose(pFile);
    // exactly a page of layers makes two pages, the second empty
    EXPECT_EQ(pLayers->iNumPages, 2);
    EXPECT_EQ(twLayers_IsVisible(2), 1);
    EXPECT_STREQ((const char*)twLayers_GetList()[2] + TW_LAYER_NAME_OFFSET, "Layer 2");
    EXPECT_EQ(twLayers_NextPage(), 1);
    EXPECT_EQ(twLayers_GetList()[0][TW_LAYER_NAME_OFFSET], 0);
    EXPECT_EQ(twLayers_NextPage(), 0);
    EXPECT_EQ(pLayers->iPage, 1);
    twLayers_PrevPage();
    EXPECT_EQ(twLayers_PrevPage(), 0);
    EXPECT_EQ(pLayers->iPage, 0);
    EXPECT_EQ(twLayers_GetLayer(3), nullptr);
    EXPECT_TRUE(twTest_LogHas("Layer index 3 is out of range\n"));
    EXPECT_EQ(twLayers_IsVisible(-1), 0);

    pFile = Records(7);
    ASSERT_EQ(twLayers_Load(pFile, 7), 1);
    fclose(pFile);
    EXPECT_EQ(pLayers->iNumPages, 3);
    EXPECT_TRUE(twTest_LogHas("Freeing previous layers\n"));
    EXPECT_TRUE(twTest_LogHas("Allocating 9 new layers\n"));
}

TEST_F(Layers, ShortOrAbsurdTablesFail)
{
    FILE* pFile = Records(2);
    EXPECT_EQ(twLayers_Load(pFile, 5), 0);
    EXPECT_TRUE(twTest_LogHas("!fread : layer 2\n"));
    fclose(pFile);
    EXPECT_EQ(twLayers_Load(nullptr, 1), 0);
    EXPECT_TRUE(twTest_LogHas("!f\n"));
    EXPECT_EQ(twLayers_Load(nullptr, -4), 0);
    EXPECT_EQ(twLayers_Load(nullptr, 1 << 30), 0);
}

// Hidden layers kept by name across a new model of the same layers, however many and however
// long their names: 60 names of 250 characters are far beyond any fixed buffer's 4 KB
TEST_F(Layers, EveryHiddenLayerIsKeptByNameAndHiddenAgain)
{
    const int iCount = 80;
    std::vector<uint8_t> bytes(iCount * TW_LAYER_SIZE, 0);
    for (int i = 0; i < iCount; i++) {
        std::string name = std::to_string(i) + " " + std::string(250, 'a' + i % 26);
        memcpy(&bytes[i * TW_LAYER_SIZE + TW_LAYER_NAME_OFFSET], name.data(), name.size());
    }
    twHarness_WriteFile(dir + "layers", bytes);
    FILE* pFile = fopen((dir + "layers").c_str(), "rb");
    ASSERT_EQ(twLayers_Load(pFile, iCount), 1);
    for (int i = 0; i < 60; i++)
        twLayers_SetVisible(i * 4 / 3, 0);
    int iKept = 0;
    char* pstrKept = twLayers_KeepHidden(&iKept);
    ASSERT_NE(pstrKept, nullptr);
    EXPECT_EQ(iKept, 60);
    // the same table again, all shown, as a reload brings it
    fseek(pFile, 0, SEEK_SET);
    ASSERT_EQ(twLayers_Load(pFile, iCount), 1);
    fclose(pFile);
    EXPECT_EQ(twLayers_HideNamed(pstrKept), 60);
    twMem_Free(pstrKept);
    int iHidden = 0;
    for (int i = 0; i < iCount; i++)
        iHidden += !twLayers_IsVisible(i);
    EXPECT_EQ(iHidden, 60);
    EXPECT_EQ(twLayers_IsVisible(1), 0);
    EXPECT_EQ(twLayers_IsVisible(3), 1);
}

// Layers of two models are listed under a row of each model: a press on the row hides or
// shows all its layers, and the row shows while any of them is; the table stays in order
TEST_F(Layers, LayersOfSeveralModelsAreListedUnderTheirModel)
{
    const char* apstrNames[] = {"arch / Ground", "hvac / Ground", "arch / Roof", "hvac / Roof", "Site"};
    std::vector<uint8_t> bytes(5 * TW_LAYER_SIZE, 0);
    for (int i = 0; i < 5; i++)
        snprintf((char*)&bytes[i * TW_LAYER_SIZE + TW_LAYER_NAME_OFFSET], 32, "%s", apstrNames[i]);
    twHarness_WriteFile(dir + "layers", bytes);
    FILE* pFile = fopen((dir + "layers").c_str(), "rb");
    ASSERT_EQ(twLayers_Load(pFile, 5), 1);
    fclose(pFile);
    ASSERT_EQ(twLayers_NumSources(), 2);
    EXPECT_STREQ(twLayers_SourceName(1), "hvac");
    // rows, three a page: arch, arch / Ground, arch / Roof | hvac, its two | Site
    std::vector<std::string> rows;
    do {
        for (int r = 0; r < 3; r++)
            rows.push_back((const char*)twLayers_GetList()[r] + TW_LAYER_NAME_OFFSET);
    } while (twLayers_NextPage());
    EXPECT_EQ(rows, (std::vector<std::string>{"arch", "arch / Ground", "arch / Roof", "hvac", "hvac / Ground",
                                              "hvac / Roof", "Site", "", ""}));
    EXPECT_STREQ((const char*)twLayers_Find(1) + TW_LAYER_NAME_OFFSET, "hvac / Ground");
    // hvac's row pressed, as the list does it: its word flipped
    while (twLayers_PrevPage()) {
    }
    twLayers_NextPage();
    int32_t* piRow = (int32_t*)(twLayers_GetList()[0] + TW_LAYER_VISIBLE_OFFSET);
    *piRow = 0;
    twLayers_SyncSources();
    EXPECT_EQ(twLayers_IsVisible(1), 0);
    EXPECT_EQ(twLayers_IsVisible(3), 0);
    EXPECT_EQ(twLayers_IsVisible(0), 1);
    EXPECT_EQ(twLayers_IsVisible(4), 1);
    // one layer of it shown again: the row shows, and a sync changes no layer
    twLayers_SetVisible(3, 1);
    twLayers_SyncSources();
    EXPECT_EQ(*piRow, 1);
    EXPECT_EQ(twLayers_IsVisible(1), 0);
    EXPECT_EQ(twLayers_SourceVisible(1), 1);
    // hidden layers kept by name bring their row back hidden
    twLayers_SetSourceVisible(1, 0);
    char* pstrKept = twLayers_KeepHidden(nullptr);
    pFile = fopen((dir + "layers").c_str(), "rb");
    ASSERT_EQ(twLayers_Load(pFile, 5), 1);
    fclose(pFile);
    EXPECT_EQ(twLayers_HideNamed(pstrKept), 2);
    twMem_Free(pstrKept);
    EXPECT_EQ(twLayers_SourceVisible(1), 0);
    EXPECT_EQ(twLayers_SourceVisible(0), 1);
}
