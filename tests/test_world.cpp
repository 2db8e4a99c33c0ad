// Model files through the loader and the post-load pipeline: the log, the counts, the
// boxes, the camera and sun taken from the file, element groups and batches, and every
// kind of damaged file failing cleanly.
#include <gtest/gtest.h>
#include <GL/glew.h>
#include <math.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "tests/support.h"
#include "tools/export/model_writer.h"
#include "tools/harness/samples.h"
#include "world/world.h"

struct World : ::testing::Test {
    static std::string dir;
    static TwCamera camera;
    char szProject[TW_PATH_SIZE] = "";
    int iAltitude = -1, iAzimuth = -1, iStatus = 0;
    uint32_t uiBaseline = 0;

    static void SetUpTestSuite()
    {
        ASSERT_EQ(twHarness_StartWorld(64, 64, 0), 1);
        dir = twHarness_Dir();
    }
    static void TearDownTestSuite()
    {
        twHarness_StopWorld();
    }
    void SetUp() override
    {
        twCamera_Init(&camera);
        uiBaseline = twMem_GetUsed();
    }
    void TearDown() override
    {
        twWorld_Free();
        // everything a load made, good or bad, goes with the model (the layer records stay)
        EXPECT_LE(twMem_GetUsed(), uiBaseline + (uint32_t)(pLayers->iNumPages * 12 * TW_LAYER_SIZE));
    }

    int Load(const TwExportModel& model, int bVbo = 0)
    {
        std::string path = dir + "Export.bin";
        twExport_WriteFile(model, path);
        return twWorld_LoadModel(nullptr, path.c_str(), 0, &camera, szProject, &iAltitude, &iAzimuth, bVbo, &iStatus);
    }

    int LoadBytes(const std::vector<uint8_t>& bytes)
    {
        std::string path = dir + "Damaged.bin";
        twHarness_WriteFile(path, bytes);
        return twWorld_LoadModel(nullptr, path.c_str(), 0, &camera, szProject, &iAltitude, &iAzimuth, 0, &iStatus);
    }
};
std::string World::dir;
TwCamera World::camera;

static void ExpectLogInOrder(const std::vector<std::string>& expected)
{
    std::vector<std::string> lines = twTest_LogLines();
    size_t uiAt = 0;
    for (const std::string& line : expected) {
        while (uiAt < lines.size() && lines[uiAt] != line)
            uiAt++;
        ASSERT_LT(uiAt, lines.size()) << "log line missing or out of order: '" << line << "'";
        uiAt++;
    }
}

// ---------------------------------------------------------------------------------------------
// A good model
// ---------------------------------------------------------------------------------------------

TEST_F(World, LoadsWithItsLogCountsAndBoxes)
{
    ASSERT_EQ(Load(twSample_SmallHouse()), 1);
    EXPECT_EQ(pWorld->bLoaded, 1);
    EXPECT_EQ(iStatus, 1);
    ExpectLogInOrder({"", "Loading environment", "", "Project name = 'Test house'", "Sun color = 1.000000, 0.950000, 0.850000",
                      "Camera position = 10.000000, 1.600000, 10.000000", "Loading textures",
                      "Number of textures to load = 1", "Texture 0", "  Name = wood.tga", "  W x H = 4 x 4",
                      "  UseAlpha = 0", "Loading elements", "Number of elements to load = 5",
                      "Total number of meshes to load = 5", "  Number of meshes to load = 1", "Number of meshes loaded = 5",
                      "Number of meshes with geometry = 5", "Number of mesh instances = 0",
                      "Number of door elements = 1", "Loading materials", "Number of materials to load = 3", "Material 0",
                      "  Name = Wall", "  Texture = -1", "  Diffuse = 0.800000, 0.800000, 0.800000",
                      "  Transparency = 0.000000", "  IsTransparent = 0", "Loading layers", "Number of layers to load = 2",
                      "Total number of triangles = 60", "Total number of textures = 1", "Total number of materials = 3",
                      "Post-processing world", "Finalizing bounding volumes", "Creating pointer array for all meshes",
                      "Counting materials accessed by meshes", "Creating element groups", "Number of elementgroups = 3",
                      "Creating element group geometry", "Creating material and render arrays", "Vbo is disabled",
                      "Copying data to render arrays", "World was successfully loaded"});
    EXPECT_STREQ(szProject, "Test house");
    EXPECT_EQ(pWorld->iNumTris, 60);
    EXPECT_EQ(pWorld->iNumPhysTris, 48); // the door takes no part in collision
    EXPECT_EQ(pWorld->iNumDoors, 1);
    EXPECT_STREQ(pWorld->szNumTris, "60");
    EXPECT_EQ(pWorld->iModelSource, 3);
    // the world box holds everything, the building box only walls, slabs and the like
    EXPECT_FLOAT_EQ(pWorld->vMin[0], -10);
    EXPECT_FLOAT_EQ(pWorld->vMax[0], 24);
    EXPECT_FLOAT_EQ(pWorld->vBuildingMin[0], 0);
    EXPECT_FLOAT_EQ(pWorld->vBuildingMax[2], 4);
    EXPECT_FLOAT_EQ(pWorld->vCentre[0], 7);
    EXPECT_FLOAT_EQ(pWorld->vHalfSize[1], 2);
    float fDiagonal = sqrtf(34.0f * 34 + 4 * 4 + 14 * 14);
    EXPECT_FLOAT_EQ(pWorld->fRadius, fDiagonal / 2);
    EXPECT_FLOAT_EQ(pWorld->fBuildingRadiusSq, pWorld->fBuildingRadius * pWorld->fBuildingRadius);
    // mesh numbering, pointer array, material users
    ASSERT_NE(pWorld->ppMeshes, nullptr);
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(pWorld->ppMeshes[i]->iIndex, i);
        EXPECT_EQ(pWorld->ppMeshes[i]->pElement, &pWorld->pElements[i]);
    }
    EXPECT_EQ(pWorld->ppMeshes[5], nullptr);
    EXPECT_EQ(pWorld->pMaterials[0].iNumUsers, 3);
    EXPECT_EQ(pWorld->pMaterials[2].iNumUsers, 1);
    EXPECT_EQ(pWorld->pElements[1].iNumVerts, 24);
    EXPECT_EQ(pWorld->pElements[1].iNumIndices, 36);
    // the texture keeps its GL name under the file's record
    TwTexture* pTexture = pWorld->ppTextures[0];
    EXPECT_STREQ(pTexture->szName, "wood.tga");
    EXPECT_NE(pTexture->hTexture, 0u);
    EXPECT_EQ(pTexture->iWidth, 4);
    // the layers, all shown
    EXPECT_EQ(pLayers->iNumLayers, 2);
    EXPECT_STREQ((const char*)twLayers_GetLayer(1) + TW_LAYER_NAME_OFFSET, "Roof");
    EXPECT_EQ(twLayers_IsVisible(0), 1);
}

TEST_F(World, CameraAndSunComeFromTheFile)
{
    ASSERT_EQ(Load(twSample_SmallHouse()), 1);
    // Z-up (x, y, z) becomes (x, z, -y)
    EXPECT_FLOAT_EQ(camera.vPos[0], 10);
    EXPECT_FLOAT_EQ(camera.vPos[1], 1.6f);
    EXPECT_FLOAT_EQ(camera.vPos[2], 10);
    float afDir[3] = {-8, -0.6f, -10};
    float fLen = sqrtf(64 + 0.36f + 100);
    EXPECT_NEAR(camera.vDir[0], afDir[0] / fLen, 1e-5);
    EXPECT_NEAR(camera.fPitch, asinf(-0.6f / fLen) * 57.295769f, 1e-3);
    EXPECT_NEAR(camera.fYaw, atan2f(-8, -10) * 57.295769f + 180, 1e-3);
    // the direction formula of these angles points where LookAt aimed
    float afFormula[3];
    twCamera_DirFromAngles(camera.fPitch, camera.fYaw, afFormula);
    for (int i = 0; i < 3; i++)
        EXPECT_NEAR(afFormula[i], afDir[i] / fLen, 1e-4);
    EXPECT_EQ(iAltitude, 30);
    EXPECT_EQ(iAzimuth, 1); // 270 + 90 = 360, less 360 is 0, and 0 becomes 1
    // post-load: the ground and the top view's block
    EXPECT_FLOAT_EQ(camera.fGroundY, 0);
    EXPECT_FLOAT_EQ(camera.fOrthoPitch, -45);
    EXPECT_FLOAT_EQ(camera.fOrthoYaw, 45);
    EXPECT_FLOAT_EQ(camera.fOrthoHalfWidth, pWorld->fRadius);
    EXPECT_FLOAT_EQ(camera.vOrthoCentre[0], pWorld->vCentre[0]);
}

TEST_F(World, SunAngleRulesAndAnOriginCameraThatStays)
{
    TwExportModel m = twSample_SmallHouse();
    m.fSunAzimuth = 271.5f;
    m.vCameraPos[0] = m.vCameraPos[1] = m.vCameraPos[2] = 0;
    camera.vPos[0] = 5;
    camera.fYaw = 33;
    ASSERT_EQ(Load(m), 1);
    EXPECT_EQ(iAzimuth, 1);
    EXPECT_FLOAT_EQ(camera.vPos[0], 5);
    EXPECT_FLOAT_EQ(camera.fYaw, 33);
    twWorld_Free();
    m.fSunAzimuth = 45.9f;
    ASSERT_EQ(Load(m), 1);
    EXPECT_EQ(iAzimuth, 135);
    // a sun that is no direction loads the model and leaves the angles as they were
    for (float fBad : {NAN, INFINITY, 1e30f}) {
        twWorld_Free();
        m.fSunAltitude = fBad;
        ASSERT_EQ(Load(m), 1);
        EXPECT_EQ(iAzimuth, 135);
    }
    EXPECT_TRUE(twTest_LogHas("the sun stays as it was"));
}

TEST_F(World, ElementGroupsRenderArraysAndBatches)
{
    ASSERT_EQ(Load(twSample_SmallHouse()), 1);
    ASSERT_EQ(pWorld->iNumElementGroups, 3);
    TwElementGroup* pGroup = &pWorld->pElementGroups[0];
    EXPECT_EQ(pGroup->iNumElements, 3);
    EXPECT_EQ(pGroup->ppElements[3], nullptr);
    EXPECT_EQ(pGroup->iNumMeshes, 3);
    EXPECT_EQ(pGroup->pData, pGroup);
    // the window came first, yet the arrays go by material index
    ASSERT_EQ(pGroup->iNumRenderArrays, 3);
    for (int r = 0; r < 3; r++) {
        EXPECT_EQ(pGroup->pRenderArrays[r].iMaterial, r);
        EXPECT_EQ(pGroup->pRenderArrays[r].pElementGroup, pGroup);
    }
    // the merged box of the wall group
    EXPECT_FLOAT_EQ(pGroup->vCentre[0], 2);
    EXPECT_FLOAT_EQ(pGroup->vHalfSize[1], 1.5f);
    EXPECT_FLOAT_EQ(pGroup->fRadiusSq, 2 * 2 + 1.5f * 1.5f + 0.1f * 0.1f);
    TwRenderArray* pArray = &pGroup->pRenderArrays[0];
    ASSERT_NE(pArray->pBatchList, nullptr);
    TwBatch* pBatch = (TwBatch*)pArray->pBatchList->pNext->pData;
    EXPECT_EQ(pBatch->usNumVerts, 24);
    EXPECT_EQ(pBatch->usNumIndices, 36);
    EXPECT_EQ(pBatch->hVboVerts, 0u);
    EXPECT_EQ(memcmp(pBatch->pVerts, pWorld->pElements[1].pMeshes[0].pVerts, 24 * sizeof(TwVertex)), 0);
}

TEST_F(World, GroupsFollowTheRadiusRule)
{
    TwExportModel m = twSample_SmallHouse();
    m.elements.clear();
    m.elements.push_back(twSample_Box(0, 0, 0, 5, 0, 0, 1, 0));   // a line of 5 m
    m.elements.push_back(twSample_Box(7, 0, 0, 12, 0, 0, 1, 0));  // merged: 12 m long, radius exactly 6
    m.elements.push_back(twSample_Box(0, 10, 0, 20, 11, 1, 1, 0)); // radius above 6 on its own
    m.elements.push_back(twSample_Box(0, 10.5f, 0, 1, 10.8f, 1, 1, 0)); // inside it, yet it can't join
    ASSERT_EQ(Load(m), 1);
    ASSERT_EQ(pWorld->iNumElementGroups, 3);
    EXPECT_EQ(pWorld->pElementGroups[0].iNumElements, 2);
    EXPECT_FLOAT_EQ(pWorld->pElementGroups[0].fRadius, 6.0f);
    EXPECT_EQ(pWorld->pElementGroups[1].iNumElements, 1);
    EXPECT_EQ(pWorld->pElementGroups[2].iNumElements, 1);
}

TEST_F(World, BatchesCloseAtTheIndexCapAndRebaseIndices)
{
    TwExportModel m = twSample_SmallHouse();
    m.elements.clear();
    // of a type that doesn't collide: its 6000 coincident triangles would split the collision
    // tree until the split budget runs out, which takes most of a minute
    TwExportElement e = twSample_Box(0, 0, 0, 1, 1, 1, 4, 0);
    TwExportMesh big = e.meshes[0];
    big.indices.clear();
    for (int i = 0; i < 18000; i++)
        big.indices.push_back((uint16_t)(i % 3));
    e.meshes.push_back(big);
    e.meshes.push_back(e.meshes[0]);
    m.elements.push_back(e);
    ASSERT_EQ(Load(m), 1);
    TwRenderArray* pArray = &pWorld->pElementGroups[0].pRenderArrays[0];
    std::vector<TwBatch*> batches;
    for (TwList* p = pArray->pBatchList->pNext; p; p = p->pNext)
        batches.push_back((TwBatch*)p->pData);
    ASSERT_EQ(batches.size(), 3u);
    EXPECT_EQ(batches[0]->usNumIndices, 36);
    EXPECT_EQ(batches[1]->usNumIndices, 18000); // a first mesh is always taken, however large
    EXPECT_EQ(batches[2]->usNumIndices, 36);

    // below the cap meshes share a batch, the second's indices moved past the first's vertices
    twWorld_Free();
    m.elements[0].meshes.erase(m.elements[0].meshes.begin() + 1);
    ASSERT_EQ(Load(m), 1);
    pArray = &pWorld->pElementGroups[0].pRenderArrays[0];
    TwBatch* pBatch = (TwBatch*)pArray->pBatchList->pNext->pData;
    EXPECT_EQ(pArray->pBatchList->pNext->pNext, nullptr);
    EXPECT_EQ(pBatch->usNumVerts, 48);
    EXPECT_EQ(pBatch->pusIndices[36], m.elements[0].meshes[1].indices[0] + 24);
}

TEST_F(World, BatchesGoToVertexBuffersWhenAsked)
{
    ASSERT_EQ(Load(twSample_SmallHouse(), 1), 1);
    TwBatch* pBatch = (TwBatch*)pWorld->pElementGroups[0].pRenderArrays[0].pBatchList->pNext->pData;
    EXPECT_NE(pBatch->hVboVerts, 0u);
    EXPECT_NE(pBatch->hVboIndices, 0u);
    EXPECT_EQ(pBatch->pVerts, nullptr);
    EXPECT_TRUE(twTest_LogHas("Vbo is enabled\n"));
}

TEST_F(World, SmoothMeshesCarryNoSurfaces)
{
    TwExportModel m = twSample_SmallHouse();
    TwExportMesh& mesh = m.elements[1].meshes[0];
    mesh.bSmooth = 1;
    mesh.iSurfaceCountField = 6; // the count says 6, yet no array follows
    ASSERT_EQ(Load(m), 1);
    EXPECT_EQ(pWorld->pElements[1].pMeshes[0].pSurfaces, nullptr);
    EXPECT_EQ(pWorld->pElements[1].pMeshes[0].usNumSurfaces, 6);
    EXPECT_EQ(pWorld->pElements[0].pMeshes[0].usNumSurfaces, 6);
    EXPECT_NE(pWorld->pElements[0].pMeshes[0].pSurfaces, nullptr);
}

TEST_F(World, ModelsLoadFromAPack)
{
    std::string model = dir + "Export.bin";
    twExport_WriteFile(twSample_SmallHouse(), model);
    twHarness_WriteText(dir + "bare", "program");
    ASSERT_EQ(twTest_MakePack(dir + "Copy.exe", dir + "bare", {model}), 0);
    ASSERT_EQ(twWorld_LoadModel(nullptr, (dir + "Copy.exe").c_str(), 1, &camera, nullptr, nullptr, nullptr, 0, nullptr),
              1);
    EXPECT_EQ(pWorld->iModelSource, 2);
    char szPath[TW_PATH_SIZE];
    EXPECT_EQ(twWorld_GetModelLocation(szPath), 2);
    EXPECT_EQ(std::string(szPath), dir + "Copy.exe");
    // a pack without a model leaves the loaded one in place
    ASSERT_EQ(twTest_MakePack(dir + "Empty.exe", dir + "bare", {dir + "bare"}), 0);
    EXPECT_EQ(twWorld_LoadModel(nullptr, (dir + "Empty.exe").c_str(), 1, &camera, nullptr, nullptr, nullptr, 0, nullptr),
              0);
    EXPECT_TRUE(twTest_LogHas("!twCore_GetResourceExt\n"));
    EXPECT_EQ(pWorld->bLoaded, 1);
}

// ---------------------------------------------------------------------------------------------
// Bad files
// ---------------------------------------------------------------------------------------------

TEST_F(World, VersionTooOldGivesStatusTwo)
{
    TwExportModel m = twSample_SmallHouse();
    m.iVersion = 225;
    EXPECT_EQ(Load(m), 0);
    EXPECT_EQ(iStatus, 2);
    EXPECT_TRUE(twTest_LogHas("[error] twWorld_LoadModel\n  AMB version 225 < 226\n"));
    m.iVersion = 226;
    EXPECT_EQ(Load(m), 1);
}

TEST_F(World, AFailedLoadFreesThePreviousModel)
{
    ASSERT_EQ(Load(twSample_SmallHouse()), 1);
    std::vector<uint8_t> bytes = twExport_Write(twSample_SmallHouse());
    memcpy(&bytes[850], "TEZ", 3);
    EXPECT_EQ(LoadBytes(bytes), 0);
    EXPECT_TRUE(twTest_LogHas("  Freeing prev data\n"));
    EXPECT_TRUE(twTest_LogHas("Failed to find TEX\n"));
    EXPECT_EQ(pWorld->bLoaded, 0);
    EXPECT_EQ(pWorld->pElements, nullptr);
    // and a good model loads after it
    EXPECT_EQ(Load(twSample_SmallHouse()), 1);
}

TEST_F(World, CountsThatDisagreeFail)
{
    TwExportModel m = twSample_SmallHouse();
    m.iTotalMeshesField = 7;
    EXPECT_EQ(Load(m), 0);
    EXPECT_TRUE(twTest_LogHas("NumMeshesLoadedTotal 5 != NumMeshesToLoadTotal 7\n"));
    m.iTotalMeshesField = 0;
    EXPECT_EQ(Load(m), 0);
    EXPECT_TRUE(twTest_LogHas("There are zero meshes to load in total\n"));
    m = twSample_SmallHouse();
    m.elements.clear();
    m.iTotalMeshesField = 3;
    EXPECT_EQ(Load(m), 0);
    EXPECT_TRUE(twTest_LogHas("NumMeshesLoadedTotal 0 != NumMeshesToLoadTotal 3\n"));
    m = twSample_SmallHouse();
    m.elements[2].iMeshCountField = 0;
    EXPECT_EQ(Load(m), 0);
    EXPECT_TRUE(twTest_LogHas("There are zero meshes to load in element\n"));
}

TEST_F(World, HostileCountsAndIndicesAreRefused)
{
    TwExportModel m = twSample_SmallHouse();
    m.elements[1].meshes[0].indices[5] = 99;
    EXPECT_EQ(Load(m), 0);
    EXPECT_TRUE(twTest_LogHas("!Mesh 1: index 99 lies past its 24 vertices\n"));
    m = twSample_SmallHouse();
    m.elements[1].meshes[0].edges[0] = 24;
    EXPECT_EQ(Load(m), 0);
    EXPECT_TRUE(twTest_LogHas("!Mesh 1: edge index 24 lies past its 24 vertices\n"));
    m = twSample_SmallHouse();
    m.elements[1].meshes[0].surfaces[5].usNumIndices = 40;
    EXPECT_EQ(Load(m), 0);
    EXPECT_TRUE(twTest_LogHas("surface 5 lies past its 36 indices\n"));
    m = twSample_SmallHouse();
    m.elements[2].meshes[0].iMaterial = 3;
    EXPECT_EQ(Load(m), 0);
    EXPECT_TRUE(twTest_LogHas("!Mesh 2 uses material 3 of 3\n"));
    m = twSample_SmallHouse();
    m.materials[1].iTexture = 1;
    EXPECT_EQ(Load(m), 0);
    EXPECT_TRUE(twTest_LogHas("!Material 1 uses texture 1 of 1\n"));
    m = twSample_SmallHouse();
    m.elements[0].iMeshCountField = 0x7FFFFFFF;
    EXPECT_EQ(Load(m), 0);
    EXPECT_TRUE(twTest_LogHas("!Number of meshes 2147483647 is more than the file holds\n"));
    // the element, texture, material and layer counts, each set absurd in the bytes
    std::vector<uint8_t> good = twExport_Write(twSample_SmallHouse());
    std::string text(good.begin(), good.end());
    for (const char* pstrTag : {"TEX", "ELM", "MAT", "LAY"}) {
        std::vector<uint8_t> bytes = good;
        size_t uiAt = text.find(pstrTag, 800);
        ASSERT_NE(uiAt, std::string::npos);
        int32_t iHuge = 0x40000000;
        memcpy(&bytes[uiAt + 3], &iHuge, 4);
        EXPECT_EQ(LoadBytes(bytes), 0) << pstrTag;
    }
    EXPECT_TRUE(twTest_LogHas("!Number of elements 1073741824 is more than the file holds\n"));
}

TEST_F(World, TexturesThatLieOrAreUnknownFail)
{
    TwExportModel m = twSample_SmallHouse();
    m.textures[0].name = "wood.Tga";
    EXPECT_EQ(Load(m), 0);
    EXPECT_TRUE(twTest_LogHas("Unsupported texture format for 'wood.Tga'\n"));
    EXPECT_TRUE(twTest_LogHas("!twOgl_LoadTexture\n"));
    // an image that claims 64 x 64 and holds 4 x 4 reads into the elements
    m = twSample_SmallHouse();
    m.textures[0].image[12] = 64;
    m.textures[0].image[14] = 64;
    EXPECT_EQ(Load(m), 0);
}

TEST_F(World, EveryCutOfAGoodFileFailsCleanly)
{
    std::vector<uint8_t> good = twExport_Write(twSample_SmallHouse());
    for (size_t uiCut = 0; uiCut < good.size(); uiCut += 37) {
        std::vector<uint8_t> cut(good.begin(), good.begin() + uiCut);
        EXPECT_EQ(LoadBytes(cut), 0) << "cut at " << uiCut;
    }
    // and every tag changed
    for (const char* pstrTag : {"AMB", "ENV", "TEX", "ELM", "MSH", "MAT", "LAY"}) {
        std::vector<uint8_t> bytes = good;
        std::string text(bytes.begin(), bytes.end());
        size_t uiAt = text.find(pstrTag);
        bytes[uiAt + 2] = 'q';
        EXPECT_EQ(LoadBytes(bytes), 0) << pstrTag;
        EXPECT_TRUE(twTest_LogHas(std::string("Failed to find ") + pstrTag + "\n"));
    }
}

// ---------------------------------------------------------------------------------------------
// Textures of each format inside the model, progress, and drivers without S3TC
// ---------------------------------------------------------------------------------------------

static std::vector<float> s_afProgress;

static int RecordProgress(const char* pstrLine1, const char* pstrLine2, float fFraction)
{
    EXPECT_EQ(pstrLine1, nullptr);
    EXPECT_EQ(pstrLine2, nullptr);
    s_afProgress.push_back(fFraction);
    return 1;
}

// A model whose three textures are a TGA, a BMP and a DXT1 DDS, each used by a material
static TwExportModel ThreeFormats(void)
{
    TwExportModel m = twSample_SmallHouse();
    std::vector<uint8_t> bmp(54, 0);
    bmp[0] = 'B';
    bmp[1] = 'M';
    bmp[10] = 54;
    bmp[14] = 40;
    bmp[18] = 4;  // width
    bmp[22] = 4;  // height
    bmp[26] = 1;
    bmp[28] = 24;
    bmp.resize(54 + 48, 0x40);
    std::vector<uint8_t> dds(128, 0);
    memcpy(&dds[0], "DDS ", 4);
    dds[12] = 4; // height
    dds[16] = 4; // width
    dds[28] = 3; // model textures are mip-mapped: a DDS brings its levels, 4, 2 and 1 pixels
    memcpy(&dds[84], "DXT1", 4);
    dds.resize(128 + 3 * 8, 0);
    TwExportTexture t;
    t.iWidth = t.iHeight = 4;
    t.name = "plaster.bmp";
    t.image = bmp;
    m.textures.push_back(t);
    t.name = "stone.dds";
    t.image = dds;
    m.textures.push_back(t);
    m.materials[0].iTexture = 1;
    m.materials[2].iTexture = 2;
    return m;
}

TEST_F(World, TexturesOfEachFormatComeStraightFromTheStream)
{
    s_afProgress.clear();
    std::string path = dir + "Export.bin";
    twExport_WriteFile(ThreeFormats(), path);
    ASSERT_EQ(twWorld_LoadModel(RecordProgress, path.c_str(), 0, &camera, nullptr, nullptr, nullptr, 0, nullptr), 1);
    ASSERT_EQ(pWorld->iNumTextures, 3);
    EXPECT_STREQ(pWorld->ppTextures[1]->szName, "plaster.bmp");
    EXPECT_STREQ(pWorld->ppTextures[2]->szName, "stone.dds");
    EXPECT_EQ(pWorld->pMaterials[2].iTexture, 2);
    // before each texture and element, then the end
    ASSERT_EQ(s_afProgress.size(), 3u + 5u + 1u);
    for (size_t i = 1; i < s_afProgress.size(); i++)
        EXPECT_GT(s_afProgress[i], s_afProgress[i - 1]);
    EXPECT_GT(s_afProgress[0], 0.0f);
    EXPECT_EQ(s_afProgress.back(), 1.0f);
}

TEST_F(World, WithoutS3tcCompressedTexturesLeaveTheirMaterialsPlain)
{
    GLboolean bSaved = __GLEW_EXT_texture_compression_s3tc;
    __GLEW_EXT_texture_compression_s3tc = GL_FALSE; // a driver without it
    int bLoaded = Load(ThreeFormats());
    __GLEW_EXT_texture_compression_s3tc = bSaved;
    ASSERT_EQ(bLoaded, 1);
    EXPECT_EQ(pWorld->ppTextures[2], twOgl_GetWhiteTexture());
    EXPECT_STREQ(twOgl_GetWhiteTexture()->szName, "WhiteTexture"); // the shared record stays as it was
    EXPECT_EQ(pWorld->pMaterials[2].iTexture, -1);
    EXPECT_EQ(pWorld->pMaterials[0].iTexture, 1);
    EXPECT_TRUE(twTest_LogHas("  Forced to non-textured since S3TC is not supported\n"));
}
