// The one finisher of every reader: the neutral scene's triangles made into the model's
// meshes, the start view placed, the counts told.
#include <math.h>
#include <string.h>

#include "tools/export/export.h"

#define EYE_HEIGHT 1.7f        // metres above the model's lowest point
#define VIEW_DISTANCE 1.6f     // times the building's horizontal radius, from its centre
// The start view must hold the whole building on a wide screen with the viewer's 80 degree
// field: a 16:9 window shows about 50 degrees upright and 40 each side; less a margin
#define FIT_VERTICAL 0.75f     // radians
#define FIT_HORIZONTAL 0.62f   // radians each side
#define FIT_STEPS 12
#define FIT_STEP_BACK 1.2f

// A view from outside the building at eye height, looking at it, in the CAD host's Z-up
// axes: the viewer turns (x, y, z) into (x, z, -y).
// What the view frames, in tiers: 0 the building's walls, slabs, roofs and columns, 1 any
// element of a known type (a services model has no walls, and its untyped marker proxies
// may stand far off), 2 everything
static void GrowByElements(const TwExportModel& model, int iTier, float* afMin, float* afMax)
{
    for (const TwExportElement& e : model.elements) {
        bool bBuilding = e.iType == 1 || e.iType == 2 || e.iType == 3 || e.iType == 6;
        if ((iTier == 0 && !bBuilding) || (iTier == 1 && e.iType == TW_EXPORT_OTHER))
            continue;
        for (const TwExportMesh& mesh : e.meshes)
            for (const TwExportVertex& v : mesh.verts)
                for (int i = 0; i < 3; i++) {
                    afMin[i] = v.vPos[i] < afMin[i] ? v.vPos[i] : afMin[i];
                    afMax[i] = v.vPos[i] > afMax[i] ? v.vPos[i] : afMax[i];
                }
    }
}

// The highest surface under a point, or fDefault where nothing is under it
static float GroundAt(const TwExportModel& model, float x, float z, float fDefault)
{
    float fBest = -1e30f;
    for (const TwExportElement& e : model.elements)
        for (const TwExportMesh& mesh : e.meshes)
            for (size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
                const float* a = mesh.verts[mesh.indices[i]].vPos;
                const float* b = mesh.verts[mesh.indices[i + 1]].vPos;
                const float* c = mesh.verts[mesh.indices[i + 2]].vPos;
                float fDet = (b[2] - c[2]) * (a[0] - c[0]) + (c[0] - b[0]) * (a[2] - c[2]);
                if (fabsf(fDet) < 1e-9f)
                    continue;
                float l0 = ((b[2] - c[2]) * (x - c[0]) + (c[0] - b[0]) * (z - c[2])) / fDet;
                float l1 = ((c[2] - a[2]) * (x - c[0]) + (a[0] - c[0]) * (z - c[2])) / fDet;
                float l2 = 1 - l0 - l1;
                if (l0 < 0 || l1 < 0 || l2 < 0)
                    continue;
                float y = l0 * a[1] + l1 * b[1] + l2 * c[1];
                if (y > fBest)
                    fBest = y;
            }
    return fBest > -1e29f ? fBest : fDefault;
}

// The building's box seen from an eye: the spread of its corners' elevations (radians)
// and their largest side angle from the direction to the box's middle
static void BoxAngles(const float* afMin, const float* afMax, float ex, float ey, float ez, float* pfLow,
                      float* pfHigh, float* pfSide)
{
    float cx = (afMin[0] + afMax[0]) * 0.5f, cz = (afMin[2] + afMax[2]) * 0.5f;
    float fToMiddle = atan2f(cz - ez, cx - ex);
    *pfLow = 10, *pfHigh = -10, *pfSide = 0;
    for (int i = 0; i < 8; i++) {
        float x = (i & 1) ? afMax[0] : afMin[0], y = (i & 2) ? afMax[1] : afMin[1], z = (i & 4) ? afMax[2] : afMin[2];
        float fAcross = sqrtf((x - ex) * (x - ex) + (z - ez) * (z - ez));
        float fUp = atan2f(y - ey, fAcross);
        *pfLow = fUp < *pfLow ? fUp : *pfLow;
        *pfHigh = fUp > *pfHigh ? fUp : *pfHigh;
        float fSide = fabsf(remainderf(atan2f(z - ez, x - ex) - fToMiddle, 2 * (float)M_PI));
        *pfSide = fSide > *pfSide ? fSide : *pfSide;
    }
}

static void PlaceCamera(TwExportModel* pModel)
{
    float afMin[3] = {1e30f, 1e30f, 1e30f}, afMax[3] = {-1e30f, -1e30f, -1e30f};
    for (int iTier = 0; iTier < 3 && afMin[0] > afMax[0]; iTier++)
        GrowByElements(*pModel, iTier, afMin, afMax);
    float cx = (afMin[0] + afMax[0]) * 0.5f, cz = (afMin[2] + afMax[2]) * 0.5f;
    float hx = (afMax[0] - afMin[0]) * 0.5f, hz = (afMax[2] - afMin[2]) * 0.5f;
    float fDistance = sqrtf(hx * hx + hz * hz) * VIEW_DISTANCE + 2.0f;
    // from the front left, between the model's +Z and -X sides, at eye height over the
    // ground there (or the building's foot where there is none); stepping back until the
    // whole building fits the view, whatever the terrain does between
    float ex = 0, ey = 0, ez = 0, fLow = 0, fHigh = 0;
    for (int iStep = 0; iStep < FIT_STEPS; iStep++, fDistance *= FIT_STEP_BACK) {
        ex = cx - fDistance * 0.6f;
        ez = cz + fDistance * 0.8f;
        ey = GroundAt(*pModel, ex, ez, afMin[1]) + EYE_HEIGHT;
        float fSide;
        BoxAngles(afMin, afMax, ex, ey, ez, &fLow, &fHigh, &fSide);
        if (fHigh - fLow <= FIT_VERTICAL && fSide <= FIT_HORIZONTAL)
            break;
    }
    // the view's middle between the lowest and the highest corner
    float fAcross = sqrtf((cx - ex) * (cx - ex) + (cz - ez) * (cz - ez));
    float ty = ey + tanf((fLow + fHigh) * 0.5f) * fAcross;
    pModel->vCameraPos[0] = ex;
    pModel->vCameraPos[1] = -ez;
    pModel->vCameraPos[2] = ey;
    pModel->vCameraTarget[0] = cx;
    pModel->vCameraTarget[1] = -cz;
    pModel->vCameraTarget[2] = ty;
}

static void Progress(const TwExportOptions& options, float fFraction)
{
    if (options.pfnProgress)
        options.pfnProgress(fFraction);
}

int twExport_Finish(const TwExportScene& scene, const TwExportOptions& options, TwExportModel* pModel,
                    TwExportStats* pStats, std::string* pError)
{
    for (size_t i = 0; i < scene.elements.size(); i++) {
        const TwExportSceneElement& c = scene.elements[i];
        if (i % 64 == 0)
            Progress(options, 0.5f + 0.45f * (float)i / (float)scene.elements.size());
        TwExportElement element;
        element.iType = c.iType;
        element.iLayer = c.iLayer;
        element.name = c.name;
        element.sourceClass = c.sourceClass;
        element.storey = c.storey;
        element.globalId = c.globalId;
        for (const auto& soup : c.soups) {
            if (soup.first < 0 || (size_t)soup.first >= scene.materials.size()) {
                *pError = "an element names a material the scene doesn't have";
                return 0;
            }
            twExportGeometry_BuildMeshes(soup.second, soup.first, scene.materials[soup.first].iTexture >= 0, options,
                                         &element.meshes, pStats);
        }
        if (element.meshes.empty())
            continue;
        if (element.iType == TW_EXPORT_DOOR)
            pStats->iDoors++;
        pModel->elements.push_back(element);
    }
    if (pModel->elements.empty()) {
        *pError = "the model has no triangles to show";
        return 0;
    }
    pModel->projectName = scene.projectName;
    pModel->materials = scene.materials;
    pModel->textures = scene.textures;
    pModel->layers = scene.layers;
    memcpy(pModel->adOffset, scene.adOffset, sizeof(pModel->adOffset));
    pModel->place = scene.place;
    pModel->fSunAltitude = options.fSunAltitude;
    pModel->fSunAzimuth = options.fSunAzimuth;
    PlaceCamera(pModel);
    pStats->iElements = (int)pModel->elements.size();
    pStats->iMaterials = (int)pModel->materials.size();
    pStats->iTextures = (int)pModel->textures.size();
    pStats->iLayers = (int)pModel->layers.size();
    return 1;
}

int twExportScene_Convert(const char* pstrInput, const TwExportOptions& options, TwExportModel* pModel,
                          TwExportStats* pStats, std::string* pError)
{
    TwExportScene scene;
    std::string lower = twExport_Lower(pstrInput);
    bool bNamedIfc = lower.size() > 4 && lower.compare(lower.size() - 4, 4, ".ifc") == 0;
    int bRead = 0;
    if (twExportIfc_IsIfc(pstrInput))
        bRead = twExportIfc_Read(pstrInput, options, &scene, pStats, pError);
    else if (bNamedIfc)
        *pError = "it is not an IFC file: its header names no ISO-10303-21 schema";
    else
        bRead = twExportAssimp_Read(pstrInput, options, &scene, pStats, pError);
    return bRead && twExport_Finish(scene, options, pModel, pStats, pError);
}
