// Culling: the visibility boxes and occluders made after loading, the item tree, and the
// ID-picture sweep drawn on the test display.
#include <gtest/gtest.h>
#include <GL/glew.h>
#include <math.h>
#include <string.h>

#include "engine/memory.h"
#include "engine/timer.h"
#include "engine/vector.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "render/render.h"
#include "tests/support.h"
#include "tools/harness/samples.h"
#include "world/tree.h"
#include "world/world.h"

#define SIDE 512

struct Culling : ::testing::Test {
    static std::string dir;
    static void SetUpTestSuite()
    {
        ASSERT_EQ(twHarness_StartWorld(SIDE, SIDE, 1), 1);
        dir = twHarness_Dir();
    }
    static void TearDownTestSuite()
    {
        twHarness_StopWorld();
    }
    void TearDown() override { twWorld_Free(); }
    void Load(const TwExportModel& m)
    {
        twHarness_WriteFile(dir + "culling.bin", twExport_Write(m));
        ASSERT_EQ(twWorld_LoadModel(nullptr, (dir + "culling.bin").c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1,
                                    nullptr),
                  1);
    }
};
std::string Culling::dir;

static TwExportMaterial Material(const char* pstrName, int bTransparent)
{
    TwExportMaterial m;
    m.name = pstrName;
    m.bIsTransparent = bTransparent;
    return m;
}

// ---------------------------------------------------------------------------------------------
// Visibility geometry
// ---------------------------------------------------------------------------------------------

TEST_F(Culling, BoxesAndOccludersOfAGroup)
{
    TwExportModel m;
    m.materials = {Material("Wall", 0), Material("Glass", 1)};
    // one group: a wall whose two big faces are exactly 6 square metres, a door and a type
    // 10 element as big, glass, a smooth mesh and a small box
    m.elements.push_back(twSample_Box(0, 0, 0, 2, 3, 0.1f, 1, 0));
    m.elements.push_back(twSample_Box(0, 0, 1, 2, 3, 1.1f, TW_TYPE_DOOR, 0));
    m.elements.push_back(twSample_Box(0, 0, 2, 2, 3, 2.1f, TW_TYPE_NO_OCCLUDER, 0));
    m.elements.push_back(twSample_Box(0, 0, -1, 2, 3, -0.9f, 1, 1));
    TwExportElement smooth = twSample_Box(0, 0, -2, 3, 3, -1.9f, 1, 0);
    smooth.meshes[0].bSmooth = 1;
    smooth.meshes[0].surfaces.clear();
    m.elements.push_back(smooth);
    m.elements.push_back(twSample_Box(0, 0, 3, 1, 1, 3.1f, 1, 0));
    // far off, a group of a door alone
    m.elements.push_back(twSample_Box(50, 0, 0, 53, 3, 0.1f, TW_TYPE_DOOR, 0));
    Load(m);
    ASSERT_EQ(pWorld->iNumElementGroups, 2);
    int iBig = pWorld->pElementGroups[0].iNumElements == 6 ? 0 : 1;
    const TwElementGroup* g = &pWorld->pElementGroups[iBig];
    const TwElementGroup* pDoorGroup = &pWorld->pElementGroups[1 - iBig];
    ASSERT_EQ(g->iNumElements, 6);
    EXPECT_EQ(g->usNumVisVerts, 8 * 7);
    EXPECT_EQ(g->usNumVisIndices, 30 * 7);
    EXPECT_EQ(g->usNumGroupVisIndices, 30);
    EXPECT_NE(g->hVboVisVerts, 0u);
    // the group's corners are pushed by at most 0.1 on an axis; the elements' lie exactly
    for (int c = 0; c < 8; c++) {
        float afCorner[3];
        twBox_Corner(g->vCentre, g->vHalfSize, c, afCorner);
        for (int i = 0; i < 3; i++)
            EXPECT_NEAR(g->pVisVerts[c * 4 + i], afCorner[i], 0.1001f);
        uint32_t uiId;
        memcpy(&uiId, &g->pVisVerts[c * 4 + 3], 4);
        EXPECT_EQ(uiId, (uint32_t)iBig + 1);
    }
    const TwElement* pFirst = g->ppElements[0];
    for (int c = 0; c < 8; c++) {
        float afCorner[3];
        twBox_Corner(pFirst->vCentre, pFirst->vHalfSize, c, afCorner);
        EXPECT_EQ(memcmp(&g->pVisVerts[(8 + c) * 4], afCorner, 12), 0) << "corner " << c;
    }
    // the line pairs, then the same pairs for the first element's corners
    const uint16_t aus[6] = {3, 0, 2, 1, 6, 5};
    for (int i = 0; i < 6; i++) {
        EXPECT_EQ(g->pusVisIndices[i], aus[i]);
        EXPECT_EQ(g->pusVisIndices[30 + i], aus[i] + 8);
    }
    EXPECT_EQ(g->pusVisIndices[29], 5);
    // only the wall's two faces of 6.0: 12 indices over 8 corners
    EXPECT_EQ(g->usNumOccluderIndices, 12);
    EXPECT_EQ(g->usNumOccluderVerts, 8);
    EXPECT_EQ(pDoorGroup->usNumOccluderIndices, 0);
    EXPECT_EQ(pDoorGroup->pOccluderVerts, nullptr);
    EXPECT_TRUE(twTest_LogHas("Number of vis indices = 270"));
    EXPECT_TRUE(twTest_LogHas("Total number of occluder triangles = 4"));
    EXPECT_TRUE(twTest_LogHas("Total number of occluder vertices = 8"));
    EXPECT_TRUE(twTest_LogHas("Total number of occluder vertices reused = 4"));
}

// ---------------------------------------------------------------------------------------------
// The item tree
// ---------------------------------------------------------------------------------------------

struct Tree : ::testing::Test {
    TwTreeItem aItems[9] = {};
    TwTree* pTree = nullptr;
    TwTreeItem* apOut[10];
    void SetUp() override { twHarness_StartServices(); }
    void TearDown() override
    {
        twTree_Free(pTree);
        twHarness_StopServices();
    }
    void Item(int i, float x, float fHalfX)
    {
        aItems[i].vCentre[0] = x;
        aItems[i].vHalfSize[0] = fHalfX;
        aItems[i].vHalfSize[1] = aItems[i].vHalfSize[2] = 0.5f;
        aItems[i].uiStamp = 1000; // as a frame stamp would leave it
        aItems[i].pData = &aItems[i];
    }
    // a world 80 metres along X, 10 across, over the first iNum items
    void Build(int iNum)
    {
        pTree = twTree_InitNewTree();
        ASSERT_NE(pTree, nullptr);
        TwBox root = {};
        root.vHalfSize[0] = 40;
        root.vHalfSize[1] = root.vHalfSize[2] = 5;
        root.iNumItems = iNum;
        root.ppItems = (TwTreeItem**)twMem_Malloc(iNum * TW_TREE_ITEM_BYTES, "box.ppItems");
        for (int i = 0; i < iNum; i++)
            root.ppItems[i] = &aItems[i];
        pTree->iMaxItemsInLeaf = 6;
        pTree->iMaxRecurse = 80000;
        ASSERT_EQ(twTree_Build(pTree, &root), 1);
    }
    int Query(float x, float fHalfX)
    {
        float afCentre[3] = {x, 0, 0}, afHalf[3] = {fHalfX, 1, 1};
        return twTree_GetItemsInBox(pTree, afCentre, afHalf, apOut);
    }
};

TEST_F(Tree, SmallWorldIsOneLeaf)
{
    for (int i = 0; i < 4; i++)
        Item(i, -30.0f + 20 * i, 1);
    Build(4);
    TwBox* pRoot = (TwBox*)pTree->pBoxList->pNext->pData;
    EXPECT_TRUE(pRoot->bLeaf);
    // each query that touches the world returns every item, each once
    EXPECT_EQ(Query(0, 1), 4);
    EXPECT_EQ(Query(30, 1), 4);
    EXPECT_EQ(apOut[4], nullptr);
    // outside: nothing, a null at once, and the stamp moves on
    uint32_t uiStamp = pTree->uiStamp;
    apOut[0] = aItems;
    EXPECT_EQ(Query(60, 1), 0);
    EXPECT_EQ(apOut[0], nullptr);
    EXPECT_EQ(pTree->uiStamp, uiStamp + 1);
    EXPECT_TRUE(twTest_LogHas("Number of bsp volumes = 1"));
}

TEST_F(Tree, SplitsAndQueries)
{
    // eight items apart along X, and one across the first split plane at 0
    for (int i = 0; i < 8; i++)
        Item(i, -35.0f + 10 * i, 0.5f);
    Item(8, 0, 1);
    Build(9);
    TwBox* pRoot = (TwBox*)pTree->pBoxList->pNext->pData;
    ASSERT_FALSE(pRoot->bLeaf);
    EXPECT_FLOAT_EQ(pRoot->vSplit[0], 20);
    EXPECT_EQ(pRoot->ppItems, nullptr);
    EXPECT_EQ(pRoot->pFront->iNumItems + pRoot->pBack->iNumItems, 10);
    // everything: each item once, though one lies in both halves
    EXPECT_EQ(Query(0, 50), 9);
    int aiSeen[9] = {};
    for (int i = 0; apOut[i]; i++)
        aiSeen[apOut[i] - aItems]++;
    for (int i = 0; i < 9; i++)
        EXPECT_EQ(aiSeen[i], 1) << i;
    // a box whose upper face lies on the plane stays on the back side: none of the items
    // only in front come back, the one across the plane does
    int iCount = Query(-1, 1);
    EXPECT_EQ(iCount, 5);
    for (int i = 0; i < iCount; i++)
        EXPECT_TRUE(apOut[i] - aItems < 4 || apOut[i] == &aItems[8]) << apOut[i] - aItems;
    // over the plane by a hair, the front is walked too
    EXPECT_EQ(Query(-0.99f, 1), 9);
}

// ---------------------------------------------------------------------------------------------
// The sweep
// ---------------------------------------------------------------------------------------------

// A long wall at z 0, a box hidden behind it, one in view beside it, one behind the camera
static TwExportModel WallScene(void)
{
    TwExportModel m;
    m.materials = {Material("Wall", 0)};
    m.layers = {"Walls"};
    m.elements.push_back(twSample_Box(-10, 0, -0.1f, 5, 5, 0.1f, 1, 0));
    m.elements.push_back(twSample_Box(-2, 0, -10, -1, 1, -9, 1, 0));
    m.elements.push_back(twSample_Box(8, 1, -0.5f, 9, 2, 0.5f, 1, 0));
    m.elements.push_back(twSample_Box(-0.5f, 1, 18, 0.5f, 2, 19, 1, 0));
    return m;
}

struct Sweep : Culling {
    TwCamera cam;
    void SetUp() override
    {
        Load(WallScene());
        twCamera_Init(&cam);
        twCamera_SetAspectFromWindow(&cam, SIDE, SIDE);
        cam.vPos[0] = 0;
        cam.vPos[1] = 2;
        cam.vPos[2] = 15;
        cam.fFar = 100;
        twCamera_UpdateMatrices(&cam, 1);
        glEnable(GL_DEPTH_TEST);
    }
    // the group that holds an element with this corner
    const TwElementGroup* GroupAt(float x, float z)
    {
        for (int g = 0; g < pWorld->iNumElementGroups; g++) {
            const TwElementGroup* p = &pWorld->pElementGroups[g];
            if (fabsf(p->vCentre[0] - x) <= p->vHalfSize[0] && fabsf(p->vCentre[2] - z) <= p->vHalfSize[2])
                return p;
        }
        return nullptr;
    }
    void Sweeps(int iCount, int bSun, float fSkyAngle = 0)
    {
        for (int i = 0; i < iCount; i++) {
            twTimer_Update();
            twWorld_VisibilitySweep(bSun, &cam, fSkyAngle, 1, 0);
        }
    }
};

TEST_F(Sweep, StampsWhatIsInViewAndDrawsItWithTheNear)
{
    ASSERT_EQ(pWorld->iNumElementGroups, 4);
    const TwElementGroup* pWall = GroupAt(0, 0);
    const TwElementGroup* pHidden = GroupAt(-1.5f, -9.5f);
    const TwElementGroup* pBeside = GroupAt(8.5f, 0);
    const TwElementGroup* pNear = GroupAt(0, 18.5f);
    ASSERT_TRUE(pWall && pHidden && pBeside && pNear);
    // the quarters cycle 0 1 2 3 0; the world's stamp follows the frame
    for (int q = 0; q < 5; q++) {
        EXPECT_EQ(pWorld->iOcQuadrant, q % 4);
        Sweeps(1, 0);
    }
    uint32_t uiFrame = twTimer_GetFrames();
    EXPECT_EQ(pWorld->uiVisibleFrame, uiFrame);
    EXPECT_GE(pWall->uiVisibleFrame + 4, uiFrame);
    EXPECT_GE(pBeside->uiVisibleFrame + 4, uiFrame);
    EXPECT_EQ(pHidden->uiVisibleFrame, 0u);
    EXPECT_EQ(pNear->uiVisibleFrame, 0u);
    // the frame draws the seen groups and the near one, not the hidden
    glViewport(0, 0, SIDE, SIDE);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    twWorld_Draw(1, TW_MODE_PLAIN, 0, &cam, 45, 45, 0, 1, 1, 0, 0, 0);
    EXPECT_EQ(pWorld->iNumIndicesDrawn, 3 * 36);
    // with the wall's layer hidden, its group has no occluders to draw and the box behind
    // is found
    int32_t bHidden = 0;
    memcpy(twLayers_GetLayer(0) + TW_LAYER_VISIBLE_OFFSET, &bHidden, 4);
    twWorld_UpdateHiddenElements();
    Sweeps(4, 0);
    EXPECT_GE(pHidden->uiVisibleFrame + 4, twTimer_GetFrames());
    int32_t bShown = 1;
    memcpy(twLayers_GetLayer(0) + TW_LAYER_VISIBLE_OFFSET, &bShown, 4);
    twWorld_UpdateHiddenElements();
}

// A plane that takes the wall away (keeping what lies behind z -0.2) lets the sweep find the
// box the wall hid; the frame no longer draws the wall's group at all, nor the one behind the eye
TEST_F(Sweep, AWallTheCutTakesAwayHidesNothing)
{
    const TwElementGroup* pHidden = GroupAt(-1.5f, -9.5f);
    ASSERT_TRUE(pHidden);
    Sweeps(8, 0);
    EXPECT_EQ(pHidden->uiVisibleFrame, 0u);
    const float afPlane[4] = {0, 0, -1, -0.2f};
    memcpy(pWorld->aafCutPlanes[0], afPlane, sizeof(afPlane));
    pWorld->iNumCutPlanes = 1;
    Sweeps(4, 0);
    EXPECT_GE(pHidden->uiVisibleFrame + 4, twTimer_GetFrames());
    glViewport(0, 0, SIDE, SIDE);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    twWorld_Draw(1, TW_MODE_PLAIN, 0, &cam, 45, 45, 0, 1, 1, 0, 0, 0);
    EXPECT_EQ(pWorld->iNumIndicesDrawn, 2 * 36) << "the box found and the one beside, half of it cut";
    pWorld->iNumCutPlanes = 0;
}

TEST_F(Sweep, CountsTheSunDiscOverFourFrames)
{
    // the disc lies ahead at an angle of 180, behind everything; from up here the wall
    // stays below its bright middle
    cam.vPos[1] = 20;
    twCamera_UpdateMatrices(&cam, 1);
    Sweeps(3, 1, 180);
    EXPECT_EQ(pWorld->iSkyPixels, 0);
    EXPECT_GT(pWorld->iSkyPixelsCounting, 0);
    Sweeps(1, 1, 180);
    int iSeen = pWorld->iSkyPixels;
    EXPECT_GT(iSeen, 0);
    EXPECT_EQ(pWorld->iSkyPixelsCounting, 0);
    EXPECT_EQ(pWorld->uiSkySeenFrame, twTimer_GetFrames());
    // turned away, it is never seen
    Sweeps(4, 1, 0);
    EXPECT_EQ(pWorld->iSkyPixels, 0);
    // without the sun nothing counts
    Sweeps(4, 0, 180);
    EXPECT_EQ(pWorld->iSkyPixels, 0);
}
