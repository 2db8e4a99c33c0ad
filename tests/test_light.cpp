// The light's frame: rectangles fitted to surfaces, the size order, lightmap packing, and
// the three frame files written, read back and refused when damaged.
#include <gtest/gtest.h>
#include <GL/glew.h>
#include <math.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <vector>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/vector.h"
#include "light/light.h"
#include "platform/ogl.h"
#include "tests/support.h"
#include "tools/export/export.h"
#include "tools/harness/samples.h"

// ---------------------------------------------------------------------------------------------
// Fitting a rectangle
// ---------------------------------------------------------------------------------------------

struct Fitting : ::testing::Test {
    TwMesh mesh;
    std::vector<TwVertex> verts;
    std::vector<uint16_t> indices;
    TwSurface surface;
    void SetUp() override
    {
        twHarness_StartServices();
        pWorld = (TwWorld*)twMem_Malloc(sizeof(TwWorld), "pWorld");
    }
    void TearDown() override
    {
        twMem_Free(pWorld);
        pWorld = nullptr;
        twHarness_StopServices();
    }
    // A surface on the floor (y 0) from corners in x and z, and triangles of them
    int Fit(const std::vector<std::pair<float, float>>& corners, const std::vector<uint16_t>& tris)
    {
        verts.clear();
        for (const auto& c : corners) {
            TwVertex v = {};
            v.vPos[0] = c.first;
            v.vPos[2] = c.second;
            verts.push_back(v);
        }
        indices = tris;
        memset(&mesh, 0, sizeof(mesh));
        mesh.pVerts = verts.data();
        mesh.pusIndices = indices.data();
        mesh.usNumVerts = (uint16_t)verts.size();
        mesh.usNumIndices = (uint16_t)indices.size();
        memset(&surface, 0, sizeof(surface));
        surface.usNumIndices = mesh.usNumIndices;
        surface.pMesh = &mesh;
        return twWorld_TrackSurfacePlaneEqs(&mesh, &surface);
    }
    // every corner in the rectangle, and the rectangle no larger than the corners need
    void ExpectAllInside()
    {
        float afLow[2] = {1e9f, 1e9f}, afHigh[2] = {-1e9f, -1e9f};
        for (const TwVertex& v : verts) {
            float u = twVec_Dot(surface.fPlaneU, v.vPos) + surface.fPlaneU[3];
            float w = twVec_Dot(surface.fPlaneV, v.vPos) + surface.fPlaneV[3];
            afLow[0] = fminf(afLow[0], u), afHigh[0] = fmaxf(afHigh[0], u);
            afLow[1] = fminf(afLow[1], w), afHigh[1] = fmaxf(afHigh[1], w);
        }
        EXPECT_NEAR(afLow[0], 0, 1e-5);
        EXPECT_NEAR(afLow[1], 0, 1e-5);
        EXPECT_NEAR(afHigh[0], surface.fDistU, 1e-5);
        EXPECT_NEAR(afHigh[1], surface.fDistV, 1e-5);
    }
};

TEST_F(Fitting, ARectangleTakesItsSideNotItsDiagonal)
{
    // the diagonal is the longest edge, but the surface lies on both sides of it
    ASSERT_EQ(Fit({{0, 0}, {4, 0}, {4, 2}, {0, 2}}, {0, 1, 2, 0, 2, 3}), 1);
    EXPECT_NEAR(fabsf(surface.fPlane[1]), 1, 1e-6);
    EXPECT_NEAR(fabsf(surface.fPlaneU[0]), 1, 1e-6); // along x, the 4-metre side
    EXPECT_FLOAT_EQ(surface.fDistU, 4);
    EXPECT_FLOAT_EQ(surface.fDistV, 2);
    ExpectAllInside();
}

TEST_F(Fitting, AnLAndATriangleAreBoundByTheirLongestOuterEdge)
{
    // an L of 3 by 3 with a 2 by 2 notch; its longest outer edges are 3 long
    ASSERT_EQ(Fit({{0, 0}, {3, 0}, {3, 1}, {1, 1}, {1, 3}, {0, 3}}, {0, 1, 2, 0, 2, 3, 0, 3, 4, 0, 4, 5}), 1);
    EXPECT_FLOAT_EQ(surface.fDistU, 3);
    EXPECT_FLOAT_EQ(surface.fDistV, 3);
    ExpectAllInside();
    // a right triangle: U along the hypotenuse, V its height
    ASSERT_EQ(Fit({{0, 0}, {3, 0}, {0, 4}}, {0, 1, 2}), 1);
    EXPECT_FLOAT_EQ(surface.fDistU, 5);
    EXPECT_NEAR(surface.fDistV, 12.0f / 5.0f, 1e-5);
    ExpectAllInside();
}

TEST_F(Fitting, StarsAndCollinearRunsFailWithTheirText)
{
    // a four-pointed star: every edge line cuts through another point
    ASSERT_EQ(Fit({{-1, -1}, {1, -1}, {1, 1}, {-1, 1}, {0, -5}, {5, 0}, {0, 5}, {-5, 0}},
                  {0, 1, 2, 0, 2, 3, 0, 4, 1, 1, 5, 2, 2, 6, 3, 3, 7, 0}),
              0);
    EXPECT_STREQ(pWorld->szLastError, "uiNumEdgesTested(18)==uiNumEdges(18)");
    EXPECT_TRUE(twTest_LogHas("uiNumEdgesTested(18)==uiNumEdges(18)\n"));
    // three points on a line have no normal: the run has no width
    ASSERT_EQ(Fit({{0, 0}, {1, 0}, {3, 0}}, {0, 1, 2}), 0);
    EXPECT_STREQ(pWorld->szLastError, "fDistV==0");
    // all three in one point
    ASSERT_EQ(Fit({{2, 2}, {2, 2}, {2, 2}}, {0, 1, 2}), 0);
    EXPECT_STREQ(pWorld->szLastError, "fDistU==0");
}

// ---------------------------------------------------------------------------------------------
// Surfaces and lightmaps of models
// ---------------------------------------------------------------------------------------------

struct Light : ::testing::Test {
    static std::string dir;
    static void SetUpTestSuite()
    {
        ASSERT_EQ(twHarness_StartWorld(320, 240, 1), 1);
        dir = twHarness_Dir();
        mkdir((dir + "Temp").c_str(), 0755);
    }
    static void TearDownTestSuite() { twHarness_StopWorld(); }
    void TearDown() override { twWorld_Free(); }
    static void Load(const TwExportModel& m)
    {
        twHarness_WriteFile(dir + "light.bin", twExport_Write(m));
        ASSERT_EQ(twWorld_LoadModel(nullptr, (dir + "light.bin").c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1,
                                    nullptr),
                  1);
        // the frames before a light job stamp the groups: a first tree query with every
        // group's word still 0 would find none of them
        for (int g = 0; g < pWorld->iNumElementGroups; g++)
            pWorld->pElementGroups[g].uiVisibleFrame = 1;
    }
    static TwSurfaceArray* Array(int g, int r) { return pWorld->pElementGroups[g].pRenderArrays[r].pSurfaceArray2; }
    static TwLightmap* Lightmap(const TwSurfaceArray* pArray, int i)
    {
        int k = 0;
        for (TwList* p = pArray->pLightmapList->pNext; p; p = p->pNext)
            if (k++ == i)
                return (TwLightmap*)p->pData;
        return nullptr;
    }
    static std::vector<TwLightmapVertex> Vertices(const TwLightmap* pLightmap)
    {
        std::vector<TwLightmapVertex> verts(pLightmap->usNumVerts);
        if (pLightmap->pVerts) {
            memcpy(verts.data(), pLightmap->pVerts, verts.size() * sizeof(TwLightmapVertex));
        } else {
            glBindBufferARB(GL_ARRAY_BUFFER_ARB, pLightmap->hVboVerts);
            glGetBufferSubDataARB(GL_ARRAY_BUFFER_ARB, 0, verts.size() * sizeof(TwLightmapVertex), verts.data());
            glBindBufferARB(GL_ARRAY_BUFFER_ARB, 0);
        }
        return verts;
    }
};
std::string Light::dir;

static TwExportModel Plain(void)
{
    TwExportModel m;
    TwExportMaterial plain;
    plain.name = "Plain";
    m.materials = {plain};
    m.layers = {"Ground"};
    return m;
}

// A horizontal strip along x of n quads, each w wide and 1 deep, as one surface of size fSize
static TwExportMesh Strip(float x0, float y, int n, float w, float fSize)
{
    TwExportMesh mesh;
    for (int i = 0; i <= n; i++)
        for (int k = 0; k < 2; k++) {
            TwExportVertex v = {};
            v.vPos[0] = x0 + i * w;
            v.vPos[1] = y;
            v.vPos[2] = (float)k;
            v.vNormal[1] = 1;
            mesh.verts.push_back(v);
        }
    for (int i = 0; i < n; i++) {
        uint16_t a = (uint16_t)(2 * i), b = (uint16_t)(a + 1), c = (uint16_t)(a + 2), d = (uint16_t)(a + 3);
        for (uint16_t idx : {a, d, c, a, b, d})
            mesh.indices.push_back(idx);
    }
    mesh.surfaces.push_back({0, (uint16_t)mesh.indices.size(), fSize});
    return mesh;
}

// A floor of n thin triangles zigzagging along x between z 0 and z 1, as one surface. Its
// first edge, the strip's end, is a little the longest, so the fit takes it at once.
static TwExportMesh Zigzag(float y, int n, float fSize)
{
    TwExportMesh mesh;
    for (int i = 0; i < n + 2; i++) {
        TwExportVertex v = {};
        v.vPos[0] = i * 0.0005f;
        v.vPos[1] = y;
        v.vPos[2] = i % 2 ? (i == 1 ? 1.01f : 1.0f) : 0.0f;
        v.vNormal[1] = 1;
        mesh.verts.push_back(v);
    }
    for (int i = 0; i < n; i++) {
        // every other triangle turned, so that all face the same way
        uint16_t a = (uint16_t)(i % 2 ? i + 1 : i), b = (uint16_t)(i % 2 ? i : i + 1), c = (uint16_t)(i + 2);
        for (uint16_t idx : {a, b, c})
            mesh.indices.push_back(idx);
    }
    mesh.surfaces.push_back({0, (uint16_t)mesh.indices.size(), fSize});
    return mesh;
}

TEST_F(Light, EqualSizesKeepADefinedOrderAndTheFramesRoundTrip)
{
    TwExportModel m = Plain();
    TwExportElement e;
    for (float fSize : {2.0f, 5.0f, 2.0f, 3.0f})
        e.meshes.push_back(Strip((float)e.meshes.size(), 0, 1, 1, fSize));
    m.elements.push_back(e);
    m.elements.push_back(twSample_Box(0, 1, 3, 4, 3, 3.2f, 1, 0)); // a wall beside them
    Load(m);
    ASSERT_EQ(twWorld_InitLight(1, nullptr), 1);
    EXPECT_TRUE(twTest_LogHas("Total number of surfaces = 10\n"));
    // descending size; of the two equal ones the later mesh comes first
    const TwSurfaceArray* pArray = Array(0, 0);
    ASSERT_EQ(pArray->iNumSurfaces, 10);
    std::vector<float> sizes;
    std::vector<const TwMesh*> meshes;
    for (int s = 0; s < pArray->iNumSurfaces; s++) {
        sizes.push_back(pArray->pSurfaces2[s].fSize);
        meshes.push_back(pArray->pSurfaces2[s].pMesh);
    }
    for (size_t i = 1; i < sizes.size(); i++)
        EXPECT_GE(sizes[i - 1], sizes[i]);
    const TwElement* pStrips = pWorld->pElementGroups[0].ppElements[0]->iNumMeshes == 4
                                   ? pWorld->pElementGroups[0].ppElements[0]
                                   : pWorld->pElementGroups[0].ppElements[1];
    auto pos = [&](int iMesh) { return std::find(meshes.begin(), meshes.end(), &pStrips->pMeshes[iMesh]) - meshes.begin(); };
    EXPECT_LT(pos(2), pos(0));
    for (const char* pstrFile : {"LightInit.bin", "LightSort.bin", "LightEq.bin"})
        EXPECT_FALSE(twHarness_ReadFile(dir + "Temp/" + pstrFile).empty()) << pstrFile;

    // read back, the same surfaces, patches and lightmap coordinates
    std::vector<TwSurface> before;
    std::vector<std::vector<TwLightmapVertex>> mapsBefore;
    for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++)
        before.push_back(*pWorld->ppSurfaces[i]);
    for (int l = 0; Lightmap(pArray, l); l++)
        mapsBefore.push_back(Vertices(Lightmap(pArray, l)));
    twWorld_FreeRad();
    ASSERT_EQ(twWorld_InitLight(0, nullptr), 1);
    ASSERT_EQ(pWorld->uiNumSurfaces, before.size());
    for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++) {
        const TwSurface* a = &before[i];
        const TwSurface* b = pWorld->ppSurfaces[i];
        EXPECT_EQ(a->pMesh, b->pMesh) << i;
        EXPECT_EQ(a->usFirstIndex, b->usFirstIndex) << i;
        EXPECT_EQ(memcmp(a->fPlane, b->fPlane, offsetof(TwSurface, bLit) - offsetof(TwSurface, fPlane)), 0) << i;
    }
    pArray = Array(0, 0);
    for (size_t l = 0; l < mapsBefore.size(); l++) {
        std::vector<TwLightmapVertex> after = Vertices(Lightmap(pArray, (int)l));
        ASSERT_EQ(after.size(), mapsBefore[l].size());
        EXPECT_EQ(memcmp(after.data(), mapsBefore[l].data(), after.size() * sizeof(TwLightmapVertex)), 0);
    }
}

TEST_F(Light, AWallWithNothingInRangeNeedsNoSamplesAndOneWithABoxInFrontDoes)
{
    TwExportModel m = Plain();
    m.elements.push_back(twSample_Box(0, 0, 0, 4, 3, 0.2f, 1, 0));
    Load(m);
    ASSERT_EQ(twWorld_InitLight(1, nullptr), 1);
    for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++)
        EXPECT_EQ(pWorld->ppSurfaces[i]->bNoSampling, 1) << i;
    // the array's last surface closed its lightmap; patches without samples are 1 by 1
    EXPECT_EQ(pWorld->pLightmapFilling, nullptr);
    EXPECT_EQ(pWorld->ppSurfaces[0]->usLuxelsU, 1);
    twWorld_Free();

    m.elements.push_back(twSample_Box(1, 0, 1, 2, 1, 1.5f, 1, 0));
    Load(m);
    ASSERT_EQ(twWorld_InitLight(1, nullptr), 1);
    int iFront = -1, iBack = -1;
    for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++) {
        const TwSurface* s = pWorld->ppSurfaces[i];
        if (s->fSize == 12.0f && s->fPlane[2] > 0.9f)
            iFront = (int)i;
        if (s->fSize == 12.0f && s->fPlane[2] < -0.9f)
            iBack = (int)i;
    }
    ASSERT_GE(iFront, 0);
    ASSERT_GE(iBack, 0);
    EXPECT_EQ(pWorld->ppSurfaces[iFront]->bNoSampling, 0);
    EXPECT_EQ(pWorld->ppSurfaces[iBack]->bNoSampling, 1);
    // 4 by 3 metres at 20 luxels a metre: 80 by 60, floored to 64 by 32
    const TwSurface* s = pWorld->ppSurfaces[iFront];
    EXPECT_EQ(s->usLuxelsU * s->usLuxelsV, 64 * 32);
}

TEST_F(Light, SixtyThousandIndicesFillALightmapAndTheLastSurfaceOpensANewOne)
{
    TwExportModel m = Plain();
    TwExportElement e;
    // two floors of 30,000 indices each, then a smaller one of 6
    e.meshes.push_back(Zigzag(0, 10000, 9));
    e.meshes.push_back(Zigzag(1, 10000, 8));
    e.meshes.push_back(Strip(0, 2, 1, 0.5f, 1));
    m.elements.push_back(e);
    Load(m);
    ASSERT_EQ(twWorld_InitLight(1, nullptr), 1);
    const TwSurfaceArray* pArray = Array(0, 0);
    ASSERT_EQ(twList_Count(pArray->pLightmapList), 2);
    EXPECT_EQ(Lightmap(pArray, 0)->usNumIndices, 60000);
    EXPECT_EQ(Lightmap(pArray, 1)->usNumIndices, 6);
    EXPECT_EQ(pWorld->pLightmapFilling, nullptr);
    EXPECT_TRUE(twTest_LogHas("Number of lightmaps = 2\n"));
}

TEST_F(Light, ALightmapUsingAQuarterOfItsHeightIsTrimmedAndItsVScaled)
{
    TwExportModel m = Plain();
    TwExportElement e;
    // 12.8 by 6.4 metres: a patch of 256 by 128 luxels, a quarter of the page's height
    TwExportMesh quad = Strip(0, 0, 1, 12.8f, 80);
    for (TwExportVertex& v : quad.verts)
        v.vPos[2] *= 6.4f;
    e.meshes.push_back(quad);
    m.elements.push_back(e);
    m.elements.push_back(twSample_Box(0, 0.5f, 1, 1, 1, 2, 1, 0)); // something above: it is sampled
    Load(m);
    ASSERT_EQ(twWorld_InitLight(1, nullptr), 1);
    const TwSurface* pSurface = nullptr;
    for (uint32_t i = 0; i < pWorld->uiNumSurfaces; i++)
        if (pWorld->ppSurfaces[i]->fSize == 80)
            pSurface = pWorld->ppSurfaces[i];
    ASSERT_NE(pSurface, nullptr);
    ASSERT_EQ(pSurface->bNoSampling, 0);
    EXPECT_EQ(pSurface->usLuxelsU * pSurface->usLuxelsV, 256 * 128);
    const TwLightmap* pLightmap = pSurface->pLightmap;
    EXPECT_EQ(pLightmap->iHeight, 128);
    EXPECT_EQ(pLightmap->pTexture->iHeight, 128);
    float fLowV = 1, fHighV = 0;
    for (const TwLightmapVertex& v : Vertices(pLightmap)) {
        fLowV = fminf(fLowV, v.fMapV);
        fHighV = fmaxf(fHighV, v.fMapV);
    }
    // the texel centres of the patch's first and last rows
    EXPECT_NEAR(fLowV, 0.5f / 128, 1e-6);
    EXPECT_NEAR(fHighV, 1 - 0.5f / 128, 1e-6);
}

TEST_F(Light, TheSampleHouseGetsItsFrameFilesAndFreesWithoutALeak)
{
    TwExportModel house;
    TwExportStats stats;
    std::string error;
    TwExportOptions options;
    if (twExportScene_Convert(TW_SAMPLE_HOUSE, options, &house, &stats, &error) == 0)
        house = twSample_GridHouses(1, 1);
    Load(house);
    ASSERT_EQ(twWorld_InitLight(1, nullptr), 1);
    EXPECT_GT(pWorld->uiNumSurfaces, 100u);
    EXPECT_GT(twWorld_CountLightmaps(), 0);
    EXPECT_TRUE(twTest_LogHas("Saving surface plane-eqs\n"));
    EXPECT_TRUE(twTest_LogHas("Number of bytes in VRAM = "));
    uint32_t uiUsed = twMem_GetUsed();
    twWorld_FreeRad();
    uint32_t uiFreed = twMem_GetUsed();
    EXPECT_LT(uiFreed, uiUsed);
    ASSERT_EQ(twWorld_InitLight(0, nullptr), 1);
    EXPECT_EQ(twMem_GetUsed(), uiUsed);
    twWorld_FreeRad();
    EXPECT_EQ(twMem_GetUsed(), uiFreed);
    // a second build without a free first is refused
    ASSERT_EQ(twWorld_InitLight(0, nullptr), 1);
    EXPECT_EQ(twWorld_InitLight(0, nullptr), 0);
    EXPECT_TRUE(twTest_LogHas("Surfaces already initialized (or previous attempt failed)\n"));
}

TEST_F(Light, AnExternalCopyCarriesTheFrameAndSmoothMeshesGetVertexLight)
{
    TwExportModel m = Plain();
    m.elements.push_back(twSample_Box(0, 0, 0, 4, 3, 0.2f, 1, 0));
    TwExportElement round = twSample_Box(1, 0, 1, 2, 1, 1.5f, 1, 0);
    round.meshes[0].bSmooth = 1;
    round.meshes[0].surfaces.clear();
    round.meshes[0].iMaterial = 1;
    m.materials.push_back(m.materials[0]);
    m.elements.push_back(round);
    Load(m);
    ASSERT_EQ(twWorld_InitLight(1, nullptr), 1);
    // the smooth mesh's render array has no surfaces, but its list and its vertex light
    const TwRenderArray* pSmooth = &pWorld->pElementGroups[0].pRenderArrays[1];
    EXPECT_EQ(pSmooth->pSurfaceArray2, nullptr);
    ASSERT_NE(pSmooth->pMeshListSmooth, nullptr);
    const TwMesh* pMesh = (const TwMesh*)pSmooth->pMeshListSmooth->pNext->pData;
    ASSERT_NE(pMesh->pucVertexLight, nullptr);
    EXPECT_EQ(pMesh->pucVertexLight[4 * pMesh->usNumVerts - 1], 255);
    uint32_t uiNumSurfaces = pWorld->uiNumSurfaces;
    twWorld_FreeRad();
    // a published copy carries the files in its pack; Temp has none now
    std::vector<std::string> files;
    for (const char* pstrFile : {"LightInit.bin", "LightSort.bin", "LightEq.bin"}) {
        twHarness_WriteText(dir + pstrFile, twHarness_ReadFile(dir + "Temp/" + pstrFile));
        remove((dir + "Temp/" + pstrFile).c_str());
        files.push_back(dir + pstrFile);
    }
    twHarness_WriteText(dir + "bare", "program");
    ASSERT_EQ(twTest_MakePack(dir + "Copy.exe", dir + "bare", files), 0);
    EXPECT_EQ(twWorld_InitLight(0, nullptr), 0);
    EXPECT_TRUE(twTest_LogHas("!twCore_GetResource : LightInit\n"));
    ASSERT_EQ(twWorld_InitLight(0, (dir + "Copy.exe").c_str()), 1);
    EXPECT_EQ(pWorld->uiNumSurfaces, uiNumSurfaces);
    EXPECT_STREQ(pWorld->szLightExternal, (dir + "Copy.exe").c_str());
}

// ---------------------------------------------------------------------------------------------
// Bad input
// ---------------------------------------------------------------------------------------------

// Computes the frame of a two-wall model, then damages one file, tries to load it and
// says whether the line was logged; the viewer goes on with the model unlit
static bool LoadFailsWith(const std::string& file, const std::string& bytes, const char* pstrLine)
{
    twHarness_WriteText(Light::dir + TW_LOG_FILE_NAME, ""); // each case finds its own line
    std::string path = Light::dir + "Temp/" + file;
    remove(path.c_str());
    rmdir(path.c_str());
    if (bytes == "<dir>")
        mkdir(path.c_str(), 0755);
    else
        twHarness_WriteText(path, bytes);
    int iResult = twWorld_InitLight(0, nullptr);
    twWorld_FreeRad();
    rmdir(path.c_str());
    return iResult == 0 && twTest_LogHas(pstrLine) && pWorld->bLoaded;
}

TEST_F(Light, DamagedFrameFilesAreRefusedWithTheirLine)
{
    TwExportModel m = Plain();
    m.elements.push_back(twSample_Box(0, 0, 0, 4, 3, 0.2f, 1, 0));
    m.elements.push_back(twSample_Box(1, 0, 1, 2, 1, 1.5f, 1, 0));
    Load(m);
    ASSERT_EQ(twWorld_InitLight(1, nullptr), 1);
    twWorld_FreeRad();
    std::string sort = twHarness_ReadFile(dir + "Temp/LightSort.bin");
    std::string eq = twHarness_ReadFile(dir + "Temp/LightEq.bin");
    std::string init = twHarness_ReadFile(dir + "Temp/LightInit.bin");

    EXPECT_TRUE(LoadFailsWith("LightInit.bin", "", "!LightInit.bin is cut short\n"));
    std::string nanRange = init;
    memset(&nanRange[4], 0xFF, 4);
    EXPECT_TRUE(LoadFailsWith("LightInit.bin", nanRange, "!LightInit.bin holds a range of"));
    twHarness_WriteText(dir + "Temp/LightInit.bin", init);

    EXPECT_TRUE(LoadFailsWith("LightSort.bin", "<dir>", "is not a file\n"));
    EXPECT_TRUE(LoadFailsWith("LightSort.bin", sort.substr(0, 10), "!LightSort.bin is cut short\n"));
    std::string otherModel = sort;
    otherModel[0] = 7;
    EXPECT_TRUE(LoadFailsWith("LightSort.bin", otherModel, "!surface array index mismatch (expected 0 found 7)\n"));
    std::string badRank = sort;
    memset(&badRank[4], 0x40, 4);
    EXPECT_TRUE(LoadFailsWith("LightSort.bin", badRank, "is out of place\n"));
    twHarness_WriteText(dir + "Temp/LightSort.bin", sort);

    EXPECT_TRUE(LoadFailsWith("LightEq.bin", "LEX", "!Header not 'LEQ'\n"));
    EXPECT_TRUE(LoadFailsWith("LightEq.bin", eq.substr(0, eq.size() - 1), "!LightEq.bin is cut short\n"));
    std::string nanRect = eq;
    memset(&nanRect[3 + 4 + 4 + 4 + 16], 0xFF, 4); // the first surface's U axis
    EXPECT_TRUE(LoadFailsWith("LightEq.bin", nanRect, "has a rectangle that is not finite\n"));
    std::string moreGroups = eq;
    moreGroups[3] = 1;
    EXPECT_TRUE(LoadFailsWith("LightEq.bin", moreGroups, "!Element group count mismatch (expected 0 found 1)\n"));
    EXPECT_TRUE(LoadFailsWith("LightEq.bin", "", "!Header not 'LEQ'\n"));
    twHarness_WriteText(dir + "Temp/LightEq.bin", eq);
    EXPECT_EQ(twWorld_InitLight(0, nullptr), 1);
}

TEST_F(Light, ModelsTheLightCannotTakeFailCleanly)
{
    // a flat mesh without surfaces
    TwExportModel m = Plain();
    TwExportElement bare = twSample_Box(0, 0, 0, 1, 1, 1, 1, 0);
    bare.meshes[0].surfaces.clear();
    m.elements.push_back(bare);
    Load(m);
    EXPECT_EQ(twWorld_InitLight(1, nullptr), 0);
    EXPECT_TRUE(twTest_LogHas("Mesh has zero surfaces\n"));
    twWorld_Free();
    // one surface of more indices than a lightmap holds
    m = Plain();
    TwExportElement big;
    big.meshes.push_back(Zigzag(0, 20002, 1));
    m.elements.push_back(big);
    Load(m);
    EXPECT_EQ(twWorld_InitLight(1, nullptr), 0);
    EXPECT_TRUE(twTest_LogHas("has 60006 indices, more than a lightmap holds\n"));
    EXPECT_TRUE(twTest_LogHas("!twWorld_FitSurfaceInLightmap2\n"));
    // no model at all
    twWorld_Free();
    EXPECT_EQ(twWorld_InitLight(1, nullptr), 0);
    EXPECT_TRUE(twTest_LogHas("!Light already initialized\n"));
}
