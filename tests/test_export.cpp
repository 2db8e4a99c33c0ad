// The exporter run as the CAD host would: its files read back by the viewer's loader.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <dirent.h>
#include <math.h>
#include <stb_image_write.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <set>

#include "engine/memory.h"
#include "engine/vector.h"
#include "interface/layers.h"
#include "navigation/camera.h"
#include "platform/ogl.h"
#include "render/render.h"
#include "tests/support.h"
#include "tools/export/export.h"
#include "tools/export/model_writer.h"
#include "tools/harness/samples.h"
#include "world/world.h"


struct Export : ::testing::Test {
    static std::string dir;
    static void SetUpTestSuite()
    {
        ASSERT_EQ(twHarness_StartWorld(64, 64, 0), 1);
        dir = twHarness_Dir();
    }
    static void TearDownTestSuite()
    {
        twHarness_StopWorld();
    }
    void TearDown() override { twWorld_Free(); }

    // Runs the exporter; its printed "name: value" lines come back in pCounts
    static int Run(const std::string& args, std::map<std::string, std::string>* pCounts = nullptr)
    {
        std::string out = dir + "export.out";
        std::string command = std::string(AMB_BUILD_DIR) + "/ambexport " + args + " > '" + out + "' 2>&1";
        int iStatus = system(command.c_str());
        std::string text = twHarness_ReadFile(out);
        size_t uiStart = 0;
        while (pCounts && uiStart < text.size()) {
            size_t uiEnd = text.find('\n', uiStart);
            std::string line = text.substr(uiStart, uiEnd - uiStart);
            size_t uiColon = line.find(": ");
            if (uiColon != std::string::npos)
                (*pCounts)[line.substr(0, uiColon)] = line.substr(uiColon + 2);
            uiStart = uiEnd == std::string::npos ? text.size() : uiEnd + 1;
        }
        return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
    }

    static int Load(const std::string& path, TwCamera* pCamera = nullptr)
    {
        TwCamera camera;
        if (!pCamera)
            pCamera = &camera;
        twCamera_Init(pCamera);
        return twWorld_LoadModel(nullptr, path.c_str(), 0, pCamera, nullptr, nullptr, nullptr, 0, nullptr);
    }
};
std::string Export::dir;

static bool SamePos(const TwVertex& a, const TwVertex& b)
{
    return !memcmp(a.vPos, b.vPos, sizeof(a.vPos));
}

// Every surface: flat within the tolerance of its first triangle's plane, and one piece
static void ExpectSurfacesPlanarAndConnected(const TwMesh* pMesh)
{
    for (int s = 0; s < pMesh->usNumSurfaces; s++) {
        const TwMeshSurface& surface = pMesh->pSurfaces[s];
        const uint16_t* pus = pMesh->pusIndices + surface.usFirstIndex;
        const float* a = pMesh->pVerts[pus[0]].vPos;
        const float* b = pMesh->pVerts[pus[1]].vPos;
        const float* c = pMesh->pVerts[pus[2]].vPos;
        float u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]}, v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
        float n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
        float f = sqrtf(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        ASSERT_GT(f, 0);
        for (int i = 0; i < surface.usNumIndices; i++) {
            const float* p = pMesh->pVerts[pus[i]].vPos;
            float fDist = ((p[0] - a[0]) * n[0] + (p[1] - a[1]) * n[1] + (p[2] - a[2]) * n[2]) / f;
            ASSERT_LE(fabsf(fDist), 0.0011f) << "mesh " << pMesh->iIndex << " surface " << s;
        }
        // triangles joined through shared corners must reach all of the surface
        int iTris = surface.usNumIndices / 3;
        std::vector<int> parent(iTris);
        for (int t = 0; t < iTris; t++)
            parent[t] = t;
        auto Find = [&](int x) {
            while (parent[x] != x)
                x = parent[x] = parent[parent[x]];
            return x;
        };
        for (int t = 0; t < iTris; t++)
            for (int o = t + 1; o < iTris; o++) {
                int iShared = 0;
                for (int i = 0; i < 3; i++)
                    for (int k = 0; k < 3; k++)
                        if (SamePos(pMesh->pVerts[pus[t * 3 + i]], pMesh->pVerts[pus[o * 3 + k]]))
                            iShared++;
                if (iShared >= 2)
                    parent[Find(t)] = Find(o);
            }
        std::set<int> roots;
        for (int t = 0; t < iTris; t++)
            roots.insert(Find(t));
        ASSERT_EQ(roots.size(), 1u) << "mesh " << pMesh->iIndex << " surface " << s;
    }
}

TEST_F(Export, SampleHouseLoadsWithTheCountsTheExporterPrinted)
{
    if (access(TW_SAMPLE_HOUSE, R_OK) != 0)
        GTEST_SKIP() << "the sample house (assimp-testmodels) isn't installed";
    std::map<std::string, std::string> counts;
    ASSERT_EQ(Run("'" TW_SAMPLE_HOUSE "' -o '" + dir + "haus.bin'", &counts), 0);
    ASSERT_EQ(Load(dir + "haus.bin"), 1);
    EXPECT_EQ(counts["project"], "AC14-FZK-Haus");
    EXPECT_EQ(std::to_string(pWorld->iNumElements), counts["elements"]);
    EXPECT_EQ(std::to_string(pWorld->iNumMeshes), counts["meshes"]);
    EXPECT_EQ(std::to_string(pWorld->iNumTris), counts["triangles"]);
    EXPECT_EQ(std::to_string(pWorld->iNumDoors), counts["doors"]);
    EXPECT_EQ(std::to_string(pWorld->iNumMaterials), counts["materials"]);
    EXPECT_EQ(std::to_string(pLayers->iNumLayers), counts["layers"]);
    EXPECT_GT(pWorld->iNumDoors, 0);
    EXPECT_TRUE(twTest_LogHas("Number of door elements = " + counts["doors"] + "\n"));
    // the storeys are layers
    std::set<std::string> layers;
    for (int i = 0; i < pLayers->iNumLayers; i++)
        layers.insert((const char*)twLayers_GetLayer(i) + TW_LAYER_NAME_OFFSET);
    EXPECT_TRUE(layers.count("0. Erdgeschoss"));
    EXPECT_TRUE(layers.count("1. Dachgeschoss"));
    // every window has glass, transparent, beside its opaque frame
    int iWindows = 0;
    for (int e = 0; e < pWorld->iNumElements; e++) {
        const TwElement& element = pWorld->pElements[e];
        if (element.iType != 7)
            continue;
        iWindows++;
        int iGlass = 0, iOpaque = 0;
        for (int m = 0; m < element.iNumMeshes; m++) {
            const TwMaterial& material = pWorld->pMaterials[element.pMeshes[m].iMaterial];
            iGlass += material.bIsTransparent && material.fTransparency > 0.1f;
            iOpaque += !material.bIsTransparent;
        }
        EXPECT_GT(iGlass, 0) << e;
        EXPECT_GT(iOpaque, 0) << e;
    }
    EXPECT_EQ(iWindows, 11);
    // metres with Y up: a two-storey house stands 5 to 10 m high, on the ground
    EXPECT_GT(pWorld->vBuildingMax[1] - pWorld->vBuildingMin[1], 5.0f);
    EXPECT_LT(pWorld->vBuildingMax[1] - pWorld->vBuildingMin[1], 10.0f);
    // every index inside its mesh, every surface flat and in one piece
    for (int i = 0; pWorld->ppMeshes[i]; i++) {
        const TwMesh* pMesh = pWorld->ppMeshes[i];
        for (int k = 0; k < pMesh->usNumIndices; k++)
            ASSERT_LT(pMesh->pusIndices[k], pMesh->usNumVerts);
        for (int k = 0; k < pMesh->usNumEdgeIndices; k++)
            ASSERT_LT(pMesh->pusEdgeIndices[k], pMesh->usNumVerts);
        if (!pMesh->bSmooth) {
            EXPECT_GT(pMesh->usNumSurfaces, 0);
            ExpectSurfacesPlanarAndConnected(pMesh);
        }
    }
}

// ---------------------------------------------------------------------------------------------
// IFC through the IFC engine
// ---------------------------------------------------------------------------------------------

// Whether the line parallel to Z through (x, y) crosses a triangle of an element's meshes
static bool LineThroughZMeets(const TwElement& element, float x, float y)
{
    for (int m = 0; m < element.iNumMeshes; m++) {
        const TwMesh& mesh = element.pMeshes[m];
        for (int i = 0; i + 2 < mesh.usNumIndices; i += 3) {
            const float* a = mesh.pVerts[mesh.pusIndices[i]].vPos;
            const float* b = mesh.pVerts[mesh.pusIndices[i + 1]].vPos;
            const float* c = mesh.pVerts[mesh.pusIndices[i + 2]].vPos;
            float fDet = (b[1] - c[1]) * (a[0] - c[0]) + (c[0] - b[0]) * (a[1] - c[1]);
            if (fabsf(fDet) < 1e-9f)
                continue;
            float l0 = ((b[1] - c[1]) * (x - c[0]) + (c[0] - b[0]) * (y - c[1])) / fDet;
            float l1 = ((c[1] - a[1]) * (x - c[0]) + (a[0] - c[0]) * (y - c[1])) / fDet;
            if (l0 >= 0 && l1 >= 0 && l0 + l1 <= 1)
                return true;
        }
    }
    return false;
}

// An IFC4 and an IFC2x3 building the test writes: every element with its class, storey and
// GlobalId, the storeys as layers, the wall's colour and the glass's transparency, and the
// wall cut where its window and door are
TEST_F(Export, IfcOfBothSchemasKeepsItsStoreysColoursAndOpenings)
{
    for (const char* pstrSchema : {"IFC4", "IFC2X3"}) {
        SCOPED_TRACE(pstrSchema);
        twHarness_WriteText(dir + "building.ifc", twSample_IfcBuilding(pstrSchema));
        ASSERT_EQ(Run("'" + dir + "building.ifc' -o '" + dir + "building.bin'"), 0)
            << twHarness_ReadFile(dir + "export.out");
        ASSERT_EQ(Load(dir + "building.bin"), 1);
        ASSERT_EQ(twWorld_LoadElementInfo((dir + "building.bin").c_str()), 1);
        ASSERT_EQ(pWorld->iNumElements, 5) << "two slabs, the wall, the window and the door; no openings";
        std::set<std::string> layers;
        for (int i = 0; i < pLayers->iNumLayers; i++)
            layers.insert((const char*)twLayers_GetLayer(i) + TW_LAYER_NAME_OFFSET);
        EXPECT_EQ(layers, (std::set<std::string>{"Ground floor", "Upper floor"}));
        const TwElement* pWall = nullptr;
        for (int e = 0; e < pWorld->iNumElements; e++) {
            const TwElementInfo* pInfo = twWorld_GetElementInfo(e);
            std::string name = pInfo->apstrFields[0], cls = pInfo->apstrFields[1];
            EXPECT_EQ(std::string(pInfo->apstrFields[3]).compare(0, 6, "TwTest"), 0) << name;
            EXPECT_EQ(pInfo->apstrFields[2], std::string(name == "Upper slab" ? "Upper floor" : "Ground floor"));
            const TwMaterial& material = pWorld->pMaterials[pWorld->pElements[e].pMeshes[0].iMaterial];
            if (name == "Front wall") {
                pWall = &pWorld->pElements[e];
                EXPECT_EQ(pWall->iType, 1);
                EXPECT_NEAR(material.vDiffuse[0], 0.8f, 0.01f);
                EXPECT_NEAR(material.vDiffuse[1], 0.3f, 0.01f);
                EXPECT_EQ(material.bIsTransparent, 0);
            }
            if (name == "Window") {
                EXPECT_EQ(cls, "IfcWindow");
                EXPECT_NE(material.bIsTransparent, 0);
                EXPECT_NEAR(material.fTransparency, 0.7f, 0.01f);
            }
            if (name == "Door") {
                EXPECT_EQ(pWorld->pElements[e].iType, 5);
            }
        }
        ASSERT_NE(pWall, nullptr);
        // Y up: the IFC file's Z; through the window's and the door's middles, and beside them
        EXPECT_FALSE(LineThroughZMeets(*pWall, 2.6f, 1.5f)) << "the window's opening is cut";
        EXPECT_FALSE(LineThroughZMeets(*pWall, 4.95f, 1.0f)) << "the door's opening is cut";
        EXPECT_TRUE(LineThroughZMeets(*pWall, 1.0f, 1.5f));
        EXPECT_TRUE(LineThroughZMeets(*pWall, 2.6f, 2.5f));
        twWorld_Free();
    }
}

// The element named so, or -1
static int ElementNamed(const char* pstrName)
{
    for (int e = 0; e < pWorld->iNumElements; e++) {
        const TwElementInfo* pInfo = twWorld_GetElementInfo(e);
        if (pInfo && !strcmp(pInfo->apstrFields[0], pstrName))
            return e;
    }
    return -1;
}

// Each element's sets of values come beside the model: the wall's common properties and
// its layers' thicknesses, the slab's quantities, the door's number; Ctrl+C's text names
// them "Set.Property = value unit", in feet where the View page says so
TEST_F(Export, AnIfcBuildingsElementsCarryTheirSetsOfValues)
{
    for (const char* pstrSchema : {"IFC4", "IFC2X3"}) {
        SCOPED_TRACE(pstrSchema);
        twHarness_WriteText(dir + "building.ifc", twSample_IfcBuilding(pstrSchema));
        ASSERT_EQ(Run("-q '" + dir + "building.ifc' -o '" + dir + "building.bin'"), 0);
        ASSERT_EQ(Load(dir + "building.bin"), 1);
        ASSERT_EQ(twWorld_LoadElementInfo((dir + "building.bin").c_str()), 1);
        ASSERT_NE(pWorld->pProperties, nullptr);
        int iWall = ElementNamed("Front wall"), iSlab = ElementNamed("Ground slab"), iDoor = ElementNamed("Door");
        char* pWall = twWorld_GetElementProperties(iWall, nullptr);
        char* pSlab = twWorld_GetElementProperties(iSlab, nullptr);
        char* pDoor = twWorld_GetElementProperties(iDoor, nullptr);
        ASSERT_TRUE(pWall && pSlab && pDoor);
        EXPECT_EQ(std::string(pWall), "Pset_WallCommon\tFireRating\tREI 90\t\n"
                                      "Pset_WallCommon\tIsExternal\ttrue\t\n"
                                      "Pset_WallCommon\tThermalTransmittance\t0.24\tW/(m2K)\n"
                                      "Materials\tBrick\t0.24\tm\nMaterials\tMineral wool\t0.06\tm\n"
                                      "Materials\tTotal thickness\t0.3\tm\n");
        EXPECT_NE(strstr(pSlab, "Qto_SlabBaseQuantities\tNetArea\t6.5\tm2\n"), nullptr) << pSlab;
        EXPECT_STREQ(pDoor, "Pset_DoorCommon\tReference\tD-101\t\n");
        EXPECT_EQ(twWorld_GetElementProperties(ElementNamed("Window"), nullptr), nullptr);
        twMem_Free(pWall);
        twMem_Free(pSlab);
        twMem_Free(pDoor);
        char* pText = twWorld_ElementCopyText(iWall, 1);
        ASSERT_NE(pText, nullptr);
        EXPECT_EQ(std::string(pText), "GlobalId = TwTest0000000000000011\nIFC class = " +
                                          std::string(strcmp(pstrSchema, "IFC4") ? "IfcWallStandardCase" : "IfcWall") +
                                          "\nName = Front wall\n"
                                          "Pset_WallCommon.FireRating = REI 90\nPset_WallCommon.IsExternal = true\n"
                                          "Pset_WallCommon.ThermalTransmittance = 0.24 W/(m2K)\n"
                                          "Materials.Brick = 0.7874 ft\nMaterials.Mineral wool = 0.1969 ft\n"
                                          "Materials.Total thickness = 0.9843 ft\n");
        twMem_Free(pText);
        // found by a value, a GlobalId, a class or a material, letters of either case alike
        int aiFound[4] = {-1, -1, -1, -1};
        EXPECT_EQ(twWorld_FindElements("d-101", aiFound, 4), 1);
        EXPECT_EQ(aiFound[0], iDoor);
        EXPECT_EQ(twWorld_FindElements("TWTEST0000000000000011", aiFound, 4), 1);
        EXPECT_EQ(aiFound[0], iWall);
        EXPECT_EQ(twWorld_FindElements("brick", aiFound, 4), 1);
        EXPECT_EQ(twWorld_FindElements("IfcSlab", aiFound, 1), 2) << "two counted, one listed";
        EXPECT_EQ(aiFound[0], std::min(iSlab, ElementNamed("Upper slab")));
        EXPECT_EQ(twWorld_FindElements("no such thing", aiFound, 4), 0);
        twWorld_Free();
    }
}

// The pick panel's sets: each opens with its name (- open, + folded); Tab folds the set shown
// first and Shift+Tab all; the wheel scrolls by rows, the set's name standing above its
// values; a long value takes rows of its own
TEST_F(Export, ThePickPanelsSetsFoldScrollAndWrap)
{
    twHarness_WriteText(dir + "building.ifc", twSample_IfcBuilding("IFC4"));
    ASSERT_EQ(Run("-q '" + dir + "building.ifc' -o '" + dir + "building.bin'"), 0);
    ASSERT_EQ(Load(dir + "building.bin"), 1);
    ASSERT_EQ(twWorld_LoadElementInfo((dir + "building.bin").c_str()), 1);
    int iSlab = ElementNamed("Ground slab");
    char aszLines[TW_PICK_LINES][TW_PICK_LINE_SIZE];
    // the lines of the sets, after the element's own
    auto Sets = [&]() {
        std::string text;
        int n = twWorld_PickedText(iSlab, 0, aszLines);
        int i = 0;
        while (i < n && aszLines[i][0] != '\t')
            i++;
        for (; i < n; i++)
            text += std::string(aszLines[i]) + "\n";
        return text;
    };
    const std::string open = "\t- Qto_SlabBaseQuantities\n  NetArea\t6.5 m2\n  Width\t0.2 m\n  GrossVolume\t1.2 m3\n";
    const std::string remarks = "\t- Pset_SlabCommon\n  Remarks\tPoured on site in two stages; the joint runs along\n"
                                " \tgrid line B and is sealed with a bitumen strip\n \tbefore the screed\n";
    EXPECT_EQ(Sets(), open + remarks);
    twWorld_FoldInspector(0);
    EXPECT_EQ(Sets(), "\t+ Qto_SlabBaseQuantities\n" + remarks);
    twWorld_ScrollInspector(3); // into the remark: its set's name stands above it
    EXPECT_EQ(Sets(), "\t- Pset_SlabCommon\n \tgrid line B and is sealed with a bitumen strip\n"
                      " \tbefore the screed\n");
    twWorld_FoldInspector(0); // the set shown first folds, its name at the top
    EXPECT_EQ(Sets(), "\t+ Pset_SlabCommon\n");
    twWorld_ScrollInspector(-10);
    twWorld_FoldInspector(1); // every set was folded: all open
    EXPECT_EQ(Sets(), open + remarks);
    twWorld_ScrollInspector(100); // no further than the last row
    EXPECT_EQ(Sets(), "\t- Pset_SlabCommon\n \tbefore the screed\n");
    // another element starts over, all open at the top
    twWorld_PickedText(ElementNamed("Front wall"), 0, aszLines);
    EXPECT_EQ(Sets(), open + remarks);
    twWorld_Free();
}

// The properties side file is read only for its own model and only where its table stays
// inside it; the text of an element is read when asked, and a file changed since gives none
TEST_F(Export, APropertiesFileOfAnotherModelOrDamagedIsPassedOver)
{
    twHarness_WriteText(dir + "building.ifc", twSample_IfcBuilding("IFC4"));
    ASSERT_EQ(Run("-q '" + dir + "building.ifc' -o '" + dir + "building.bin'"), 0);
    std::string good = twHarness_ReadFile(dir + "building.properties");
    std::string modelLine = "\nmodel\t";
    size_t uiTable = good.find('\n', good.find(modelLine) + 1) + 1;
    ASSERT_EQ(Load(dir + "building.bin"), 1);
    std::string other = good;
    other.replace(good.find(modelLine) + modelLine.size(), 1, "9");
    std::string beyond = good;
    beyond[uiTable + 8 * 2] = '\xff'; // the third element's text starts past the end
    beyond[uiTable + 8 * 2 + 3] = '\x7f';
    const struct {
        std::string bytes;
        const char* pstrLine;
    } aCases[] = {
        {other, "belongs to another model"},
        {beyond, "names text beyond its end"},
        {good.substr(0, uiTable + 12), "is cut short"},
        {"Ambulon elements 2\n", "is not one"},
    };
    for (const auto& c : aCases) {
        twHarness_WriteText(dir + "building.properties", c.bytes);
        EXPECT_EQ(twWorld_LoadProperties((dir + "building.bin").c_str()), 0) << c.pstrLine;
        EXPECT_TRUE(twTest_LogHas(std::string("!The properties side file ") + c.pstrLine + ": passed over\n"));
        EXPECT_EQ(pWorld->pProperties, nullptr);
    }
    twHarness_WriteText(dir + "building.properties", good);
    ASSERT_EQ(twWorld_LoadProperties((dir + "building.bin").c_str()), 1);
    twHarness_WriteText(dir + "building.properties", good.substr(0, uiTable + 5 * 8));
    EXPECT_EQ(twWorld_GetElementProperties(0, nullptr), nullptr);
    EXPECT_TRUE(twTest_LogHas("gives no text for element 0\n"));
}

// A building hundreds of kilometres from its origin comes out near it, the move and the
// site's place kept beside it; a file cut short, one that isn't IFC and one whose elements
// have no shape each end with one reason for the viewer, and no signal
TEST_F(Export, IfcFarFromItsOriginComesNearAndBadIfcFailsWithItsReason)
{
    twHarness_WriteText(dir + "far.ifc", twSample_IfcBuilding("IFC4", 500000, 5200000, 0, 300000, 5000000));
    ASSERT_EQ(Run("'" + dir + "far.ifc' -o '" + dir + "far.bin'"), 0);
    ASSERT_EQ(Load(dir + "far.bin"), 1);
    ASSERT_EQ(twWorld_LoadElementInfo((dir + "far.bin").c_str()), 1);
    for (int i = 0; i < 3; i++) {
        EXPECT_LT(fabsf(pWorld->vMin[i]), 50.0f) << i;
        EXPECT_LT(fabsf(pWorld->vMax[i]), 50.0f) << i;
    }
    EXPECT_EQ(pWorld->place.bKnown, 1);
    EXPECT_DOUBLE_EQ(pWorld->place.adMoved[0], 500000.0);
    EXPECT_DOUBLE_EQ(pWorld->place.adMoved[2], -5200000.0);
    EXPECT_NEAR(pWorld->place.dLatitude, 48.1333, 1e-3);
    EXPECT_NEAR(pWorld->place.dLongitude, 11.5, 1e-3);
    EXPECT_DOUBLE_EQ(pWorld->place.dEastings, 300000.0);
    EXPECT_STREQ(pWorld->place.szMap, "EPSG:25832");

    std::string whole = twSample_IfcBuilding("IFC4");
    std::string shapeless = whole.substr(0, whole.find("#1=")) + "#1=IFCPROJECT('x',$,'P',$,$,$,$,$,$);\n" +
                            "ENDSEC;\nEND-ISO-10303-21;\n";
    const struct {
        const char* pstrName;
        std::string text;
        const char* pstrReason;
    } aCases[] = {
        {"cut.ifc", whole.substr(0, whole.size() / 2), "error the file is cut short"},
        {"noise.ifc", std::string(3000, 'x'), "error it is not an IFC file"},
        {"shapeless.ifc", shapeless, "error the file has no element with a shape"},
    };
    twHarness_WriteText(dir + "kept.bin", "the model from before");
    for (const auto& c : aCases) {
        twHarness_WriteText(dir + c.pstrName, c.text);
        EXPECT_EQ(Run("--progress '" + dir + c.pstrName + "' -o '" + dir + "kept.bin'"), 1) << c.pstrName;
        std::string out = "\n" + twHarness_ReadFile(dir + "export.out");
        EXPECT_NE(out.find(std::string("\n") + c.pstrReason), std::string::npos) << out;
    }
    EXPECT_EQ(twHarness_ReadFile(dir + "kept.bin"), "the model from before");
}

// An export started ahead, its engine warmed on the file, writes what a plain one writes
// once it is given the file; one given a file it can't read says why; one given nothing
// writes nothing
TEST_F(Export, AnExportWaitingReadyWritesWhatAPlainOneWrites)
{
    std::string ifc = dir + "building.ifc";
    twHarness_WriteText(ifc, twSample_IfcBuilding("IFC4"));
    twHarness_WriteText(dir + "noise.ifc", std::string(3000, 'x'));
    ASSERT_EQ(Run("-q '" + ifc + "' -o '" + dir + "plain.bin'"), 0);
    twHarness_WriteText(dir + "names.txt", ifc + "\n\n");
    ASSERT_EQ(Run("-q --wait --warm '" + ifc + "' -o '" + dir + "waited.bin' < '" + dir + "names.txt'"), 0)
        << twHarness_ReadFile(dir + "export.out");
    EXPECT_EQ(twHarness_ReadFile(dir + "waited.bin"), twHarness_ReadFile(dir + "plain.bin"));
    EXPECT_EQ(twHarness_ReadFile(dir + "waited.elements"), twHarness_ReadFile(dir + "plain.elements"));
    twHarness_WriteText(dir + "names.txt", dir + "noise.ifc\n\n");
    EXPECT_EQ(Run("--progress --wait --warm '" + ifc + "' -o '" + dir + "noise.bin' < '" + dir + "names.txt'"), 1);
    EXPECT_NE(("\n" + twHarness_ReadFile(dir + "export.out")).find("\nerror it is not an IFC file"), std::string::npos);
    EXPECT_EQ(Run("-q --wait --warm '" + ifc + "' -o '" + dir + "none.bin' < /dev/null"), 0);
    EXPECT_FALSE(twCore_FileExists((dir + "none.bin").c_str()));
}

// The box of a model's elements of a class whose model is named so
static void ClassBox(const char* pstrClass, const char* pstrModel, float* pvMin, float* pvMax)
{
    for (int i = 0; i < 3; i++)
        pvMin[i] = 1e30f, pvMax[i] = -1e30f;
    for (int e = 0; e < pWorld->iNumElements; e++) {
        const TwElementInfo* pInfo = twWorld_GetElementInfo(e);
        if (!pInfo || strcmp(pInfo->apstrFields[1], pstrClass) || strcmp(pInfo->apstrFields[4], pstrModel))
            continue;
        twBox_Grow(pvMin, pvMax, pWorld->pElements[e].vMin, pWorld->pElements[e].vMax);
    }
}

// Two buildings of the same site whose maps put one 100 m east and 50 m north of the other
// come out that far apart, their layers named by model; a model that can't be read leaves
// the other
TEST_F(Export, SeveralModelsLineUpByTheirMaps)
{
    twHarness_WriteText(dir + "west.ifc", twSample_IfcBuilding("IFC4", 500000, 5200000, 0, 300000, 5000000));
    twHarness_WriteText(dir + "east.ifc", twSample_IfcBuilding("IFC4", 500000, 5200000, 100, 300100, 5000050));
    twHarness_WriteText(dir + "broken.ifc", "no IFC at all");
    ASSERT_EQ(Run("--progress -o '" + dir + "both.bin' '" + dir + "west.ifc' '" + dir + "east.ifc' '" + dir +
                  "broken.ifc'"),
              0);
    EXPECT_NE(twHarness_ReadFile(dir + "export.out").find("skipped broken: it is not an IFC file"), std::string::npos);
    ASSERT_EQ(Load(dir + "both.bin"), 1);
    ASSERT_EQ(twWorld_LoadElementInfo((dir + "both.bin").c_str()), 1);
    EXPECT_EQ(pWorld->iNumElements, 10);
    std::set<std::string> layers;
    for (int i = 0; i < pLayers->iNumLayers; i++)
        layers.insert((const char*)twLayers_GetLayer(i) + TW_LAYER_NAME_OFFSET);
    EXPECT_EQ(layers, (std::set<std::string>{"west / Ground floor", "west / Upper floor", "east / Ground floor",
                                             "east / Upper floor"}));
    float afWest[2][3], afEast[2][3];
    ClassBox("IfcWall", "west", afWest[0], afWest[1]);
    ClassBox("IfcWall", "east", afEast[0], afEast[1]);
    EXPECT_NEAR(afEast[0][0] - afWest[0][0], 100.0f, 0.01f) << "east";
    EXPECT_NEAR(afEast[0][1] - afWest[0][1], 0.0f, 0.01f) << "level";
    EXPECT_NEAR(afEast[0][2] - afWest[0][2], -50.0f, 0.01f) << "north is -Z";

    // a map in millimetres whose x axis points north: the east model's wall, along its own
    // x, runs north from 100 m east and 50 m north of the west model's origin
    twHarness_WriteText(dir + "east.ifc", twSample_IfcBuilding("IFC4", 0, 0, 100, 300100, 5000050, 90, true));
    twHarness_WriteText(dir + "west.ifc", twSample_IfcBuilding("IFC4", 0, 0, 0, 300000, 5000000));
    ASSERT_EQ(Run("-o '" + dir + "both.bin' '" + dir + "west.ifc' '" + dir + "east.ifc'"), 0);
    twWorld_Free();
    ASSERT_EQ(Load(dir + "both.bin"), 1);
    ASSERT_EQ(twWorld_LoadElementInfo((dir + "both.bin").c_str()), 1);
    ClassBox("IfcWall", "west", afWest[0], afWest[1]);
    ClassBox("IfcWall", "east", afEast[0], afEast[1]);
    EXPECT_NEAR(afWest[1][0] - afWest[0][0], 6.0f, 0.01f);
    EXPECT_NEAR(afEast[1][0], 100.0f, 0.01f);
    EXPECT_NEAR(afEast[0][0], 99.7f, 0.01f);
    EXPECT_NEAR(afEast[1][2], -50.0f, 0.01f);
    EXPECT_NEAR(afEast[0][2], -56.0f, 0.01f);
}

// Several models exported with their streams kept: a save of one reads the engine for that
// one alone, a model unchanged since needs no engine at all, and a kept stream that is
// damaged is read anew
TEST_F(Export, ModelsUnchangedSinceTheirLastExportAreReadFromTheirKeptStreams)
{
    std::string west = dir + "west.ifc", east = dir + "east.ifc", keep = dir + "kept streams";
    twHarness_WriteText(west, twSample_IfcBuilding("IFC4", 0, 0, 0, 300000, 5000000));
    twHarness_WriteText(east, twSample_IfcBuilding("IFC4", 0, 0, 100, 300100, 5000050));
    std::string names = " -o '" + dir + "both.bin' '" + west + "' '" + east + "'";
    ASSERT_EQ(Run("-q" + names), 0);
    std::string plain = twHarness_ReadFile(dir + "both.bin");
    ASSERT_EQ(Run("-q --keep '" + keep + "'" + names), 0);
    EXPECT_EQ(twHarness_ReadFile(dir + "both.bin"), plain);
    // without Node, only what was kept can be read
    std::string noNode = "PATH=/nonexistent ";
    ASSERT_EQ(system((noNode + AMB_BUILD_DIR "/ambexport -q --keep '" + keep + "'" + names).c_str()), 0);
    EXPECT_EQ(twHarness_ReadFile(dir + "both.bin"), plain);
    // west saved 20 m further east: the engine reads it, east comes from its kept stream
    twHarness_WriteText(west, twSample_IfcBuilding("IFC4", 20, 0, 0, 300000, 5000000));
    ASSERT_EQ(Run("-q --keep '" + keep + "'" + names), 0);
    ASSERT_EQ(Load(dir + "both.bin"), 1);
    ASSERT_EQ(twWorld_LoadElementInfo((dir + "both.bin").c_str()), 1);
    float afWest[2][3], afEast[2][3];
    ClassBox("IfcWall", "west", afWest[0], afWest[1]);
    ClassBox("IfcWall", "east", afEast[0], afEast[1]);
    EXPECT_NEAR(afWest[0][0], 20.0f, 0.01f);
    EXPECT_NEAR(afEast[0][0], 100.0f, 0.01f);
    twWorld_Free();
    // every kept stream damaged: both read anew, the same model
    std::string kept = twHarness_ReadFile(dir + "both.bin");
    DIR* pDir = opendir(keep.c_str());
    ASSERT_NE(pDir, nullptr);
    int iStreams = 0;
    for (struct dirent* pEntry; (pEntry = readdir(pDir));)
        if (strstr(pEntry->d_name, ".stream")) {
            std::string path = keep + "/" + pEntry->d_name;
            std::string bytes = twHarness_ReadFile(path);
            truncate(path.c_str(), (off_t)(bytes.size() / 2));
            iStreams++;
        }
    closedir(pDir);
    EXPECT_EQ(iStreams, 2);
    ASSERT_EQ(Run("-q --keep '" + keep + "'" + names), 0);
    EXPECT_EQ(twHarness_ReadFile(dir + "both.bin"), kept);
    EXPECT_NE(twHarness_ReadFile(dir + "export.out").find("doesn't read"), std::string::npos);
}

// The three models of one project (architecture, structure, services) make one: every
// model's elements, the architecture's and the structure's walls where each other's are,
// and what they share by GlobalId drawn once
TEST_F(Export, AProjectsThreeModelsMakeOne)
{
    std::string shared = std::string(AMB_SOURCE_DIR) + "/../shared/ifc/";
    if (access((shared + "Building-Hvac.ifc").c_str(), R_OK) != 0)
        GTEST_SKIP() << "the project's models aren't beside the project";
    ASSERT_EQ(Run("-o '" + dir + "project.bin' '" + shared + "Building-Architecture.ifc' '" + shared +
                  "Building-Structural.ifc' '" + shared + "Building-Hvac.ifc'"),
              0);
    ASSERT_EQ(Load(dir + "project.bin"), 1);
    ASSERT_EQ(twWorld_LoadElementInfo((dir + "project.bin").c_str()), 1);
    std::map<std::string, int> models;
    std::set<std::string> ids;
    for (int e = 0; e < pWorld->iNumElements; e++) {
        const TwElementInfo* pInfo = twWorld_GetElementInfo(e);
        models[pInfo->apstrFields[4]]++;
        EXPECT_TRUE(ids.insert(pInfo->apstrFields[3]).second) << "drawn twice: " << pInfo->apstrFields[0];
    }
    EXPECT_GT(models["Building-Architecture"], 0);
    EXPECT_GT(models["Building-Structural"], 0);
    EXPECT_GT(models["Building-Hvac"], 0);
    float afArch[2][3], afStruct[2][3];
    ClassBox("IfcWall", "Building-Architecture", afArch[0], afArch[1]);
    ClassBox("IfcWall", "Building-Structural", afStruct[0], afStruct[1]);
    for (int i = 0; i < 3; i++) {
        EXPECT_LT(afArch[0][i], afStruct[1][i]) << i;
        EXPECT_LT(afStruct[0][i], afArch[1][i]) << i;
    }
}

// A wall as a textured quad and a door, in two objects of an OBJ file
static void WriteObj(const std::string& dir, bool bZUp)
{
    twHarness_WriteText(dir + "house.obj",
                     std::string("mtllib house.mtl\n"
                                 "o Wall_North\n"
                                 "v 0 0 0\nv 4 0 0\nv 4 ") +
                         (bZUp ? "0 3\nv 0 0 3\n" : "3 0\nv 0 3 0\n") +
                         "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
                         "usemtl brick\nf 1/1 2/2 3/3 4/4\n"
                         "o Door_1\n"
                         "v 5 0 0\nv 6 0 0\nv 6 2 0\nv 5 2 0\n"
                         "usemtl glass\nf 5 6 7 8\n");
    twHarness_WriteText(dir + "house.mtl", "newmtl brick\nKd 0.8 0.3 0.2\nmap_Kd brick.tga\n"
                                        "newmtl glass\nKd 0.5 0.6 0.7\nd 0.3\n");
    const uint8_t aucBrick[3] = {200, 80, 60};
    twHarness_WriteFile(dir + "brick.tga", twExport_SolidTga(6, 5, 3, aucBrick));
}

TEST_F(Export, ObjWithATexture)
{
    WriteObj(dir, false);
    std::map<std::string, std::string> counts;
    ASSERT_EQ(Run("'" + dir + "house.obj' -o '" + dir + "obj.bin'", &counts), 0);
    ASSERT_EQ(Load(dir + "obj.bin"), 1);
    ASSERT_EQ(pWorld->iNumElements, 2);
    EXPECT_EQ(pWorld->pElements[0].iType, 1); // by name: a wall
    EXPECT_EQ(pWorld->pElements[1].iType, 5); // a door
    EXPECT_EQ(pWorld->iNumDoors, 1);
    ASSERT_EQ(pWorld->iNumTextures, 1);
    EXPECT_EQ(pWorld->ppTextures[0]->iWidth & (pWorld->ppTextures[0]->iWidth - 1), 0); // a power of two
    int iBrick = pWorld->pElements[0].pMeshes[0].iMaterial;
    EXPECT_EQ(pWorld->pMaterials[iBrick].iTexture, 0);
    int iGlass = pWorld->pElements[1].pMeshes[0].iMaterial;
    EXPECT_NE(pWorld->pMaterials[iGlass].bIsTransparent, 0);
    // the wall quad: one surface of two triangles, its four rim edges, a normal along Z
    const TwMesh& wall = pWorld->pElements[0].pMeshes[0];
    EXPECT_EQ(wall.usNumSurfaces, 1);
    EXPECT_EQ(wall.usNumIndices, 6);
    EXPECT_EQ(wall.usNumEdgeIndices, 8);
    EXPECT_NEAR(fabsf(wall.pVerts[0].vNormal[2]), 1, 1e-5);
    EXPECT_FLOAT_EQ(pWorld->vMax[1], 3); // Y up as written
    EXPECT_EQ(counts["layers"], "2");    // each object under the root is a group
}

// Material files written on another system name their images with backslashes, drive
// letters and other case: each is found beside the model or under its folder
TEST_F(Export, ImagesNamedOnAnotherSystemAreFound)
{
    std::string sub = dir + "win/";
    mkdir(sub.c_str(), 0755);
    mkdir((sub + "textures").c_str(), 0755);
    WriteObj(sub, false);
    const uint8_t aucStone[3] = {90, 90, 100};
    twHarness_WriteFile(sub + "textures/stone.tga", twExport_SolidTga(4, 4, 3, aucStone));
    std::string obj = twHarness_ReadFile(sub + "house.obj");
    obj += "o Wall_South\nv 0 0 5\nv 4 0 5\nv 4 3 5\nv 0 3 5\nvt 0 0\nusemtl stone\nf 9/1 10/1 11/1 12/1\n";
    twHarness_WriteText(sub + "house.obj", obj);
    for (const char* pstrNames : {"map_Kd .\\Brick.TGA\n|map_Kd .\\Textures\\STONE.tga\n",
                                  "map_Kd C:\\Work\\brick.tga\n|map_Kd D:\\Model\\textures\\stone.TGA\n"}) {
        std::string names = pstrNames;
        size_t uiBar = names.find('|');
        twHarness_WriteText(sub + "house.mtl", "newmtl brick\nKd 0.8 0.3 0.2\n" + names.substr(0, uiBar) +
                                                   "newmtl glass\nKd 0.5 0.6 0.7\nd 0.3\n"
                                                   "newmtl stone\nKd 1 1 1\n" + names.substr(uiBar + 1));
        ASSERT_EQ(Run("'" + sub + "house.obj' -o '" + sub + "win.bin'"), 0) << pstrNames;
        ASSERT_EQ(Load(sub + "win.bin"), 1);
        EXPECT_EQ(pWorld->iNumTextures, 2) << pstrNames;
    }
}

// A house on a hillside, the terrain rising toward it: the start view, on a wide screen,
// holds the whole building, from eye height on the ground
TEST_F(Export, TheFirstViewFramesTheBuildingOnASlope)
{
    // the ground falls 0.6 m a metre toward -y (the viewer's front); the house stands on
    // it from 12 m up, 10 by 10 by 6 metres (Z up, as a CAD host writes)
    std::string obj = "o Terrain\nv -80 -80 -36\nv 80 -80 -36\nv 80 10 18\nv -80 10 18\nf 1 2 3 4\n";
    int iBase = 5;
    const char* apstrWalls[4] = {"Wall_N", "Wall_E", "Wall_S", "Wall_W"};
    const float afEnds[5][2] = {{-5, -5}, {5, -5}, {5, 5}, {-5, 5}, {-5, -5}};
    for (int i = 0; i < 4; i++) {
        char szWall[256];
        snprintf(szWall, sizeof(szWall), "o %s\nv %g %g 12\nv %g %g 12\nv %g %g 18\nv %g %g 18\nf %d %d %d %d\n",
                 apstrWalls[i], afEnds[i][0], afEnds[i][1], afEnds[i + 1][0], afEnds[i + 1][1], afEnds[i + 1][0],
                 afEnds[i + 1][1], afEnds[i][0], afEnds[i][1], iBase, iBase + 1, iBase + 2, iBase + 3);
        obj += szWall;
        iBase += 4;
    }
    twHarness_WriteText(dir + "hill.obj", obj);
    ASSERT_EQ(Run("--z-up '" + dir + "hill.obj' -o '" + dir + "hill.bin'"), 0);
    TwCamera cam;
    ASSERT_EQ(Load(dir + "hill.bin", &cam), 1);
    twCamera_SetAspectFromWindow(&cam, 1920, 1080);
    cam.fFov = 80;
    twCamera_UpdateMatrices(&cam, 1);
    // the eye stands at eye height on the slope
    EXPECT_NEAR(cam.vPos[1], 12 + 0.6f * -cam.vPos[2] + 1.7f, 0.05f);
    for (int i = 0; i < 8; i++) {
        float x = (i & 1) ? 5.0f : -5.0f, y = (i & 2) ? 18.0f : 12.0f, z = (i & 4) ? 5.0f : -5.0f;
        const float* m = cam.mViewProj;
        float cx = m[0] * x + m[4] * y + m[8] * z + m[12], cy = m[1] * x + m[5] * y + m[9] * z + m[13];
        float cw = m[3] * x + m[7] * y + m[11] * z + m[15];
        ASSERT_GT(cw, 0) << "corner " << i << " behind the eye";
        EXPECT_LE(fabsf(cx / cw), 1.0f) << "corner " << i;
        EXPECT_LE(fabsf(cy / cw), 1.0f) << "corner " << i;
    }
}

TEST_F(Export, ZUpSourcesAreTurned)
{
    WriteObj(dir, true);
    ASSERT_EQ(Run("--z-up --scale 2 '" + dir + "house.obj' -o '" + dir + "zup.bin'"), 0);
    ASSERT_EQ(Load(dir + "zup.bin"), 1);
    EXPECT_FLOAT_EQ(pWorld->pElements[0].vMax[1], 6); // z 3 became y 3, then twice that
    EXPECT_FLOAT_EQ(pWorld->pElements[0].vMin[2], 0);
}

TEST_F(Export, GltfWithATexture)
{
    // one textured triangle in a node named "Railing", its buffer inline
    float afData[3 * 3 + 3 * 2] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 1};
    const char* pstrAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const uint8_t* p = (const uint8_t*)afData;
    std::string b64;
    for (size_t i = 0; i < sizeof(afData); i += 3) {
        uint32_t v = (uint32_t)p[i] << 16 | (i + 1 < sizeof(afData) ? p[i + 1] << 8 : 0) |
                     (i + 2 < sizeof(afData) ? p[i + 2] : 0);
        b64 += pstrAlphabet[(v >> 18) & 63];
        b64 += pstrAlphabet[(v >> 12) & 63];
        b64 += i + 1 < sizeof(afData) ? pstrAlphabet[(v >> 6) & 63] : '=';
        b64 += i + 2 < sizeof(afData) ? pstrAlphabet[v & 63] : '=';
    }
    std::string gltf =
        R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],)"
        R"("nodes":[{"name":"Railing","mesh":0}],)"
        R"("meshes":[{"primitives":[{"attributes":{"POSITION":0,"TEXCOORD_0":1},"material":0}]}],)"
        R"("materials":[{"name":"Steel","pbrMetallicRoughness":{"baseColorTexture":{"index":0}}}],)"
        R"("textures":[{"source":0}],"images":[{"uri":"steel.png"}],)"
        R"("buffers":[{"byteLength":60,"uri":"data:application/octet-stream;base64,)" + b64 + R"("}],)"
        R"("bufferViews":[{"buffer":0,"byteOffset":0,"byteLength":36},{"buffer":0,"byteOffset":36,"byteLength":24}],)"
        R"("accessors":[{"bufferView":0,"componentType":5126,"count":3,"type":"VEC3","min":[0,0,0],"max":[1,1,0]},)"
        R"({"bufferView":1,"componentType":5126,"count":3,"type":"VEC2"}]})";
    twHarness_WriteText(dir + "rail.gltf", gltf);
    uint8_t aucPixels[16 * 16 * 4];
    for (int i = 0; i < 16 * 16; i++) {
        aucPixels[i * 4] = 90;
        aucPixels[i * 4 + 1] = 100;
        aucPixels[i * 4 + 2] = 110;
        aucPixels[i * 4 + 3] = 255;
    }
    ASSERT_NE(stbi_write_png((dir + "steel.png").c_str(), 16, 16, 4, aucPixels, 64), 0);
    ASSERT_EQ(Run("'" + dir + "rail.gltf' -o '" + dir + "gltf.bin'"), 0);
    ASSERT_EQ(Load(dir + "gltf.bin"), 1);
    EXPECT_EQ(pWorld->pElements[0].iType, 8);
    ASSERT_EQ(pWorld->iNumTextures, 1);
    EXPECT_EQ(pWorld->ppTextures[0]->iWidth, 16);
    EXPECT_EQ(pWorld->iNumTris, 1);
}

TEST_F(Export, BadInputFailsAndKeepsTheOldOutput)
{
    twHarness_WriteText(dir + "kept.bin", "the model from before");
    EXPECT_NE(Run("'" + dir + "missing.ifc' -o '" + dir + "kept.bin'"), 0);
    EXPECT_NE(twHarness_ReadFile(dir + "export.out").find("can't read"), std::string::npos);
    twHarness_WriteText(dir + "broken.ifc", "this is no IFC file");
    EXPECT_NE(Run("--progress '" + dir + "broken.ifc' -o '" + dir + "kept.bin'"), 0);
    // for the viewer: the reason on one line of its own
    std::string out = "\n" + twHarness_ReadFile(dir + "export.out");
    size_t uiError = out.find("\nerror ");
    EXPECT_NE(uiError, std::string::npos) << out;
    EXPECT_EQ(out.find("\nerror ", uiError + 1), std::string::npos) << out;
    twHarness_WriteText(dir + "empty.obj", "# nothing\n");
    EXPECT_NE(Run("'" + dir + "empty.obj' -o '" + dir + "kept.bin'"), 0);
    EXPECT_EQ(twHarness_ReadFile(dir + "kept.bin"), "the model from before");
    EXPECT_EQ(Run("--help"), 0);
    EXPECT_NE(twHarness_ReadFile(dir + "export.out").find("Element types written"), std::string::npos);
    EXPECT_EQ(Run(""), 2);
}

// The finisher takes a scene from any reader: a box of one material becomes an element with
// its flat faces, and the start view stands outside it; a scene naming a material it lacks
// is refused
TEST(Finisher, AnyReadersSceneBecomesAModelWithAStartView)
{
    TwExportScene scene;
    scene.projectName = "Handmade";
    scene.layers = {"Ground floor"};
    scene.materials.resize(1);
    TwExportSceneElement box;
    box.name = "Block";
    box.iType = TW_EXPORT_WALL;
    TwExportSoup& soup = box.soups[0];
    for (int i = 0; i < 8; i++)
        soup.positions.insert(soup.positions.end(), {i & 1 ? 4.0f : 0.0f, i & 2 ? 3.0f : 0.0f, i & 4 ? 2.0f : 0.0f});
    static const uint32_t auiFaces[12][3] = {{0, 2, 3}, {0, 3, 1}, {4, 5, 7}, {4, 7, 6}, {0, 1, 5}, {0, 5, 4},
                                             {2, 6, 7}, {2, 7, 3}, {0, 4, 6}, {0, 6, 2}, {1, 3, 7}, {1, 7, 5}};
    for (const auto& f : auiFaces)
        soup.corners.insert(soup.corners.end(), f, f + 3);
    scene.elements.push_back(box);
    TwExportOptions options;
    TwExportModel model;
    TwExportStats stats;
    std::string error;
    ASSERT_EQ(twExport_Finish(scene, options, &model, &stats, &error), 1) << error;
    ASSERT_EQ(model.elements.size(), 1u);
    EXPECT_EQ(stats.iTriangles, 12);
    EXPECT_EQ(stats.iSurfaces, 6);
    EXPECT_EQ(model.projectName, "Handmade");
    // the eye (the CAD host's Z-up axes) stands off the box, at eye height
    EXPECT_TRUE(model.vCameraPos[0] < 0 || model.vCameraPos[1] < -2);
    EXPECT_NEAR(model.vCameraPos[2], 1.7f, 0.01f);

    scene.elements[0].soups[3] = soup;
    TwExportModel refused;
    EXPECT_EQ(twExport_Finish(scene, options, &refused, &stats, &error), 0);
    EXPECT_EQ(error, "an element names a material the scene doesn't have");
}
