// The physics tree and walking: floors, falls, walls, steps, doors, glass, crouching and
// stalls, on models made by the writer (without textures, so no GL is needed).
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include "engine/memory.h"
#include "engine/timer.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "tests/support.h"
#include "tools/harness/samples.h"
#include "world/world.h"

#define FRAME (1.0f / 60.0f)
#define RADIUS 0.25f

struct Walk : ::testing::Test {
    TwCamera cam;
    void SetUp() override
    {
        twHarness_StartServices();
        twLayers_Init(12);
        // the loader needs the record only: a model without textures touches no GL
        pWorld = (TwWorld*)twMem_Malloc(sizeof(TwWorld), "pWorld");
        twCamera_Init(&cam);
    }
    void TearDown() override
    {
        twWorld_Free();
        twMem_Free(pWorld);
        pWorld = nullptr;
        twLayers_Free();
        twHarness_StopServices();
    }

    void Load(TwExportModel model)
    {
        model.textures.clear();
        for (TwExportMaterial& m : model.materials)
            m.iTexture = -1;
        std::string path = twHarness_Dir() + "walk.bin";
        twExport_WriteFile(model, path);
        ASSERT_EQ(twWorld_LoadModel(nullptr, path.c_str(), 0, &cam, nullptr, nullptr, nullptr, 0, nullptr), 1);
    }

    // frames of walking with the given input held, each with its collision
    void Run(float fSeconds, float fForward, float fStrafe = 0, float fDelta = FRAME)
    {
        for (float t = 0; t < fSeconds; t += fDelta) {
            pTimer->fDelta = fDelta;
            if (fForward)
                twCamera_SetForward(&cam, fForward);
            if (fStrafe)
                twCamera_SetStrafe(&cam, fStrafe);
            twCamera_Update(&cam, 1);
            twWorld_Collide(cam.vPos, cam.fEyeHeight, RADIUS);
        }
    }

    void PlaceAt(float x, float y, float z, float fYaw)
    {
        cam.vPos[0] = x;
        cam.vPos[1] = y;
        cam.vPos[2] = z;
        cam.fYaw = fYaw;
        cam.fLastWalkY = y;
    }
};

// A model of a 20 m floor at height 0 and the given elements
static TwExportModel Floor(std::vector<TwExportElement> more = {})
{
    TwExportModel m;
    TwExportMaterial plain, glass;
    plain.name = "Plain";
    glass.name = "Glass";
    glass.bIsTransparent = 1;
    m.materials = {plain, glass};
    m.layers = {"Ground", "Upper"};
    m.elements.push_back(twSample_Box(-10, -0.3f, -10, 10, 0, 10, 2, 0));
    for (const TwExportElement& e : more)
        m.elements.push_back(e);
    return m;
}

// yaw 270 faces +X: the direction formula gives (-sin 270, 0, -cos 270) = (1, 0, 0)
#define FACING_X 270.0f

TEST_F(Walk, LandsOnAFloorAtEyeHeight)
{
    Load(Floor());
    PlaceAt(0, 3, 0, 0);
    Run(3, 0);
    EXPECT_NEAR(cam.vPos[1], 1.6f, 0.02f);
    EXPECT_EQ(cam.fFallSpeed, 0);
    // the model is one floor: its tree is one leaf
    EXPECT_EQ(pWorld->pBspVolume->bLeaf, 1);
    EXPECT_EQ(pWorld->iNumBspLeaves, 1);
    EXPECT_TRUE(twTest_LogHas("Bsp leaves=1\n"));
}

TEST_F(Walk, FallsToTheModelsFootWithoutAFloor)
{
    Load(Floor());
    PlaceAt(30, 5, 30, 0); // beside the floor
    Run(4, 0);
    EXPECT_NEAR(cam.vPos[1], cam.fGroundY + 1.6f, 1e-4);
    EXPECT_FLOAT_EQ(cam.fGroundY, -0.3f); // the model's foot
}

TEST_F(Walk, StopsAtAWallAndSlidesAlongIt)
{
    Load(Floor({twSample_Box(2, 0, -10, 2.2f, 3, 10, 1, 0)}));
    PlaceAt(0, 1.6f, 0, FACING_X - 30); // into the wall at an angle
    Run(4, 1);
    EXPECT_LE(cam.vPos[0], 2 - RADIUS + 0.01f);
    EXPECT_GT(cam.vPos[0], 2 - RADIUS - 0.05f);
    EXPECT_GT(cam.vPos[2], 1.0f); // slid along it
}

TEST_F(Walk, RidesOverATenCentimetreEdge)
{
    Load(Floor({twSample_Box(1, 0, -5, 9, 0.1f, 5, 2, 0)}));
    PlaceAt(0, 1.6f, 0, FACING_X);
    Run(3, 1);
    EXPECT_GT(cam.vPos[0], 2.5f);
    EXPECT_NEAR(cam.vPos[1], 1.7f, 0.03f);
}

TEST_F(Walk, PassesDoorsAndElementsWithoutCollision)
{
    for (int iType : {5, 4, 37, 42}) {
        twWorld_Free();
        Load(Floor({twSample_Box(2, 0, -10, 2.2f, 3, 10, iType, 0)}));
        PlaceAt(0, 1.6f, 0, FACING_X);
        Run(3, 1);
        EXPECT_GT(cam.vPos[0], 3) << "type " << iType;
    }
}

TEST_F(Walk, GlassStopsOnTheTreeAndNotOnTheHiddenLayerPath)
{
    TwExportElement glass = twSample_Box(2, 0, -10, 2.02f, 3, 10, 7, 1);
    TwExportElement upper = twSample_Box(-9, 5, -9, -8, 6, -8, 1, 0, 1);
    Load(Floor({glass, upper}));
    PlaceAt(0, 1.6f, 0, FACING_X);
    Run(3, 1);
    EXPECT_LT(cam.vPos[0], 2);
    EXPECT_NE(strstr(pWorld->szCollisionInfo, " / "), nullptr);
    // hiding a layer moves collision to the element path, where glass isn't solid
    int32_t bHidden = 0;
    memcpy(twLayers_GetLayer(1) + TW_LAYER_VISIBLE_OFFSET, &bHidden, 4);
    twWorld_UpdateHiddenElements();
    EXPECT_EQ(pWorld->bAnyHiddenElements, 1);
    Run(3, 1);
    EXPECT_GT(cam.vPos[0], 3);
}

TEST_F(Walk, CrouchesInHalfASecondAndRisesInAQuarter)
{
    Load(Floor());
    PlaceAt(0, 1.6f, 0, 0);
    for (int i = 0; i < 15; i++) { // a quarter second held
        cam.bCrouchKey = 1;
        Run(FRAME, 0);
    }
    EXPECT_NEAR(cam.fCrouch, 0.5f, 0.04f);
    for (int i = 0; i < 15; i++) {
        cam.bCrouchKey = 1;
        Run(FRAME, 0);
    }
    EXPECT_FLOAT_EQ(cam.fCrouch, 1);
    for (int i = 0; i < 60; i++) {
        cam.bCrouchKey = 1;
        Run(FRAME, 0);
    }
    // the eye height changed at once; the body came down by falling
    EXPECT_NEAR(cam.fEyeHeight, 1.0f, 0.01f);
    EXPECT_NEAR(cam.vPos[1], 1.0f, 0.03f);
    Run(0.125f, 0);
    EXPECT_NEAR(cam.fCrouch, 0.5f, 0.04f);
    Run(0.2f, 0);
    EXPECT_FLOAT_EQ(cam.fCrouch, 0);
}

TEST_F(Walk, ALongFrameMovesNothing)
{
    Load(Floor());
    PlaceAt(0, 1.6f, 0, FACING_X);
    Run(0.5f, 0);
    float afBefore[3];
    memcpy(afBefore, cam.vPos, sizeof(afBefore));
    pTimer->fDelta = 0.41f;
    twCamera_SetForward(&cam, 1);
    twCamera_Update(&cam, 1);
    EXPECT_EQ(memcmp(afBefore, cam.vPos, sizeof(afBefore)), 0);
    EXPECT_EQ(cam.fForward, 0);
    pTimer->fDelta = 0.4f; // exactly 0.4 still runs
    twCamera_SetForward(&cam, 1);
    twCamera_Update(&cam, 1);
    EXPECT_GT(cam.vPos[0], afBefore[0]);
}

TEST_F(Walk, FlyingGoesWhereTheViewPointsAndStopsAtOnce)
{
    Load(Floor());
    PlaceAt(0, 5, 0, FACING_X);
    twCamera_StartFlying(&cam);
    EXPECT_EQ(cam.bWalk, 0);
    cam.fImpulse = 0;
    cam.fPitch = 30;
    pTimer->fDelta = 0.1f;
    twCamera_SetForward(&cam, 1);
    twCamera_Update(&cam, 0);
    EXPECT_GT(cam.vPos[1], 5); // up with the view
    EXPECT_EQ(cam.fForward, 0); // no coasting
    twCamera_Vertical(&cam, 0);
    twCamera_Update(&cam, 0);
    twCamera_Jump(&cam); // only a walker jumps
    EXPECT_EQ(cam.fImpulse, 0);
}

TEST(PhysicsTree, SplitsCubesOnXFirstAndKeepsEveryTriangle)
{
    float afCentre[3] = {0, 0, 0}, afSplit[3] = {1, 0, 0};
    float a[3] = {0, 0, 0}, b[3] = {0, 1, 0}, c[3] = {0, 0, 1}, d[3] = {-1, 0, 0};
    EXPECT_EQ(twWorld_ClassifyTriangle(afCentre, afSplit, a, b, c), 1); // in the plane: front
    EXPECT_EQ(twWorld_ClassifyTriangle(afCentre, afSplit, d, d, d), 2);
    EXPECT_EQ(twWorld_ClassifyTriangle(afCentre, afSplit, a, d, c), 3);
    float afSplitZ[3] = {0, 0, 2};
    EXPECT_EQ(twWorld_ClassifyTriangle(afCentre, afSplitZ, d, d, d), 1);
}

TEST_F(Walk, ManyTrianglesSplitTheTree)
{
    // 3,000 small boxes in a row along X: more than a leaf holds
    TwExportModel m = Floor();
    TwExportElement row;
    row.iType = 1;
    float afMin[3] = {0, 0, 0}, afMax[3] = {0.1f, 0.1f, 0.1f};
    for (int i = 0; i < 250; i++) {
        afMin[0] = i * 0.2f - 10;
        afMax[0] = afMin[0] + 0.1f;
        row.meshes.push_back(twExport_BoxMesh(afMin, afMax, 0));
    }
    m.elements.push_back(row);
    Load(m);
    EXPECT_EQ(pWorld->iNumPhysTris, 12 + 250 * 12);
    ASSERT_EQ(pWorld->pBspVolume->bLeaf, 0);
    EXPECT_NE(pWorld->pBspVolume->vSplit[0], 0); // the long axis first
    EXPECT_GT(pWorld->iNumBspLeaves, 1);
    // walking over them still works, and tests few triangles
    PlaceAt(0, 2, 0, 0);
    Run(1, 0);
    EXPECT_LT(pWorld->iNumCollisionTris, pWorld->iNumPhysTris);
}

// The top view's middle click: the floor under a spot at the walker's own storey, none
// inside a wall or where nothing is, and a door is no wall
TEST_F(Walk, AFloorIsFoundUnderASpotButNeverInAWall)
{
    Load(Floor({twSample_Box(-0.1f, 0, -10, 0.1f, 2.5f, 10, 1, 0),   // a wall across the floor
                twSample_Box(-10, 3, -10, -5, 3.2f, 10, 2, 0),      // an upper floor over a part
                twSample_Box(4, 0, -1, 4.1f, 2.1f, 1, 5, 0)}));    // a door
    float fFloor = -1;
    ASSERT_EQ(twWorld_FloorBelow(2, 2, 0, &fFloor), 1);
    EXPECT_FLOAT_EQ(fFloor, 0);
    EXPECT_EQ(twWorld_FloorBelow(0, 2, 0, &fFloor), 0);   // inside the wall
    ASSERT_EQ(twWorld_FloorBelow(-7, 2, 0, &fFloor), 1);  // under the upper floor: his storey
    EXPECT_FLOAT_EQ(fFloor, 0);
    ASSERT_EQ(twWorld_FloorBelow(-7, 2, 3.2f, &fFloor), 1); // from up there: the upper floor
    EXPECT_FLOAT_EQ(fFloor, 3.2f);
    ASSERT_EQ(twWorld_FloorBelow(4.05f, 0, 0, &fFloor), 1); // in a doorway
    EXPECT_EQ(twWorld_FloorBelow(30, 30, 0, &fFloor), 0);   // off the model
    // a hidden layer's wall is no wall
    TwExportModel hidden = Floor({twSample_Box(-0.1f, 0, -10, 0.1f, 2.5f, 10, 1, 0, 1)});
    twWorld_Free();
    Load(hidden);
    twLayers_SetVisible(1, 0);
    twWorld_UpdateHiddenElements();
    EXPECT_EQ(twWorld_FloorBelow(0, 2, 0, &fFloor), 1);
}

// ... and the walker put there, on the line through the middle of his view: where it meets
// his feet's level beyond the wall he lands; where it meets the wall he stays
TEST_F(Walk, TheWalkerLandsWhereTheMiddleOfTheViewMeetsTheFloor)
{
    Load(Floor({twSample_Box(-0.1f, 0, -10, 0.1f, 2.5f, 10, 1, 0)}));
    auto Aim = [&](float fYaw, float afSpot[3]) {
        PlaceAt(-3, 1.6f, 0, fYaw);
        cam.fEyeHeight = 1.6f;
        cam.fPitch = -20;
        twCamera_UpdateMatrices(&cam, 0);
        float afDir[3];
        twCamera_DirFromAngles(cam.fPitch, cam.fYaw, afDir);
        float t = cam.fEyeHeight / -afDir[1];
        for (int i = 0; i < 3; i++)
            afSpot[i] = cam.vPos[i] + afDir[i] * t;
    };
    // turned away from the wall: the spot 4.4 m off, on the floor
    float afSpot[3];
    Aim(90, afSpot);
    float fAway = afSpot[0] < -3 ? 90 : 270, fToward = 360 - fAway;
    Aim(fAway, afSpot);
    ASSERT_LT(afSpot[0], -6);
    ASSERT_EQ(twWorld_PutOnFloorUnderCross(&cam, RADIUS), 1);
    EXPECT_NEAR(cam.vPos[0], afSpot[0], 0.01f);
    EXPECT_NEAR(cam.vPos[2], afSpot[2], 0.01f);
    EXPECT_NEAR(cam.vPos[1], 1.6f, 0.01f);
    // toward the wall, the line meets the floor behind it: he lands beyond the wall
    Aim(fToward, afSpot);
    ASSERT_GT(afSpot[0], 1);
    ASSERT_EQ(twWorld_PutOnFloorUnderCross(&cam, RADIUS), 1);
    EXPECT_NEAR(cam.vPos[0], afSpot[0], 0.01f);
    // a spot inside the wall: he stays where he stood
    Aim(fToward, afSpot);
    cam.fPitch = -atanf(1.6f / 3.0f) * 57.29578f;
    twCamera_UpdateMatrices(&cam, 0);
    EXPECT_EQ(twWorld_PutOnFloorUnderCross(&cam, RADIUS), 0);
    EXPECT_FLOAT_EQ(cam.vPos[0], -3);
}
