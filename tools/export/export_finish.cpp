// The one finisher of every reader: the neutral scene's triangles made into the model's
// meshes, the start view placed, the counts told.
#include <math.h>
#include <pthread.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "engine/core.h"
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
        element.source = c.source;
        element.data = c.data;
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

// A source's scene from the reader of its kind: IFC known by its header, the rest by assimp
static int ReadSource(const char* pstrInput, const TwExportOptions& options, TwExportScene* pScene,
                      TwExportStats* pStats, std::string* pError)
{
    if (twExportIfc_IsIfc(pstrInput))
        return twExportIfc_Read(pstrInput, options, pScene, pStats, pError);
    if (twExport_HasExtension(pstrInput, ".ifc")) {
        *pError = "it is not an IFC file: its header names no ISO-10303-21 schema";
        return 0;
    }
    return twExportAssimp_Read(pstrInput, options, pScene, pStats, pError);
}

// Where a model's points go in another's: each map conversion takes its model's plan (x
// east-ish, y north-ish) by a turn to its x axis and a move to the map; a point of one model
// goes to the map by its own and back by the other's. Height is moved alone. Models without
// a conversion stay where their coordinates put them.
struct MapMove {
    double adTurn[4];  // plan x, y of the model to plan x, y of the other
    double adMove[3];  // then moved, in the viewer's axes (X east, Y up, Z south)
};

static void MapTurn(const TwExportPlace& p, double* pdCos, double* pdSin)
{
    double c = p.dXAxisAbscissa, s = p.dXAxisOrdinate, f = sqrt(c * c + s * s);
    *pdCos = std::isfinite(f) && f > 0 ? c / f : 1;
    *pdSin = std::isfinite(f) && f > 0 ? s / f : 0;
}

static MapMove MapShift(const TwExportPlace& from, const TwExportPlace& to)
{
    MapMove m = {{1, 0, 0, 1}, {0, 0, 0}};
    if (!from.bMapConversion || !to.bMapConversion)
        return m;
    double cf, sf, ct, st;
    MapTurn(from, &cf, &sf);
    MapTurn(to, &ct, &st);
    // the other's turn undone after this one's: a turn by the difference of the two
    double c = ct * cf + st * sf, s = ct * sf - st * cf;
    m.adTurn[0] = c, m.adTurn[1] = -s, m.adTurn[2] = s, m.adTurn[3] = c;
    double dE = from.dEastings - to.dEastings, dN = from.dNorthings - to.dNorthings, dH = from.dHeight - to.dHeight;
    double x = ct * dE + st * dN, y = -st * dE + ct * dN;
    double adMove[3] = {x, dH, -y};
    for (int i = 0; i < 3; i++)
        m.adMove[i] = std::isfinite(adMove[i]) ? adMove[i] : 0;
    return m;
}

// The name a model goes by among the others: its file's, without folders and extension
static std::string SourceName(const std::string& path)
{
    std::string base = twCore_BaseName(path.c_str());
    return base.substr(0, base.rfind('.'));
}

int twExport_MergeScenes(const std::vector<TwExportScene>& scenes, const std::vector<std::string>& names,
                         TwExportScene* pOut)
{
    size_t uiRef = 0;
    for (size_t i = 0; i < scenes.size(); i++)
        if (scenes[i].place.bMapConversion) {
            uiRef = i;
            break;
        }
    if (scenes.empty() || names.size() != scenes.size())
        return 0;
    const TwExportScene& ref = scenes[uiRef];
    pOut->projectName = scenes[0].projectName;
    pOut->schema = ref.schema;
    pOut->place = ref.place;
    memcpy(pOut->adOffset, ref.adOffset, sizeof(pOut->adOffset));
    std::map<std::string, int> materialIds, layerIds;
    std::set<std::string> globalIds;
    for (size_t s = 0; s < scenes.size(); s++) {
        const TwExportScene& scene = scenes[s];
        // each model's own move near its origin undone, the maps' turn and distance between
        // them, and the reference's move near its origin
        MapMove move = MapShift(scene.place, ref.place);
        std::vector<int> textureIds, materialMap, layerMap;
        for (const TwExportTexture& t : scene.textures) {
            textureIds.push_back((int)pOut->textures.size());
            pOut->textures.push_back(t);
        }
        // one material for each look, however many models repeat it
        for (TwExportMaterial m : scene.materials) {
            if (m.iTexture >= 0)
                m.iTexture = (size_t)m.iTexture < textureIds.size() ? textureIds[m.iTexture] : -1;
            char szKey[700];
            snprintf(szKey, sizeof(szKey), "%s|%.3f|%.3f|%.3f|%.3f|%d", m.name.c_str(), m.vDiffuse[0], m.vDiffuse[1],
                     m.vDiffuse[2], m.fTransparency, m.iTexture);
            auto it = materialIds.find(szKey);
            if (it == materialIds.end()) {
                it = materialIds.emplace(szKey, (int)pOut->materials.size()).first;
                pOut->materials.push_back(m);
            }
            materialMap.push_back(it->second);
        }
        for (const std::string& layer : scene.layers) {
            std::string name = scenes.size() > 1 ? twExport_ToLatin1(names[s]) + " / " + layer : layer;
            auto it = layerIds.find(name);
            if (it == layerIds.end()) {
                it = layerIds.emplace(name, (int)pOut->layers.size()).first;
                pOut->layers.push_back(name);
            }
            layerMap.push_back(it->second);
        }
        for (const TwExportSceneElement& e : scene.elements) {
            // what two models share (a chimney both draw) is drawn once, as the first gives it
            if (!e.globalId.empty() && !globalIds.insert(e.globalId).second)
                continue;
            TwExportSceneElement out;
            out.name = e.name;
            out.sourceClass = e.sourceClass;
            out.storey = e.storey;
            out.globalId = e.globalId;
            out.data = e.data;
            out.iType = e.iType;
            out.source = scenes.size() > 1 ? twExport_ToLatin1(names[s]) : e.source;
            out.iLayer = e.iLayer >= 0 && (size_t)e.iLayer < layerMap.size() ? layerMap[e.iLayer] : 0;
            for (const auto& soup : e.soups) {
                if (soup.first < 0 || (size_t)soup.first >= materialMap.size())
                    return 0;
                TwExportSoup& moved = out.soups[materialMap[soup.first]];
                uint32_t uiBase = (uint32_t)(moved.positions.size() / 3);
                for (size_t i = 0; i + 2 < soup.second.positions.size(); i += 3) {
                    const float* pf = &soup.second.positions[i];
                    double x = pf[0] + scene.adOffset[0], y = -(pf[2] + scene.adOffset[2]);
                    double tx = move.adTurn[0] * x + move.adTurn[1] * y, ty = move.adTurn[2] * x + move.adTurn[3] * y;
                    moved.positions.push_back((float)(tx + move.adMove[0] - ref.adOffset[0]));
                    moved.positions.push_back((float)(pf[1] + scene.adOffset[1] + move.adMove[1] - ref.adOffset[1]));
                    moved.positions.push_back((float)(-ty + move.adMove[2] - ref.adOffset[2]));
                }
                moved.uvs.insert(moved.uvs.end(), soup.second.uvs.begin(), soup.second.uvs.end());
                for (uint32_t c : soup.second.corners)
                    moved.corners.push_back(uiBase + c);
            }
            pOut->elements.push_back(std::move(out));
        }
    }
    if (pOut->layers.empty())
        pOut->layers.push_back("Model");
    return 1;
}

// One source of several, read on a thread of its own
struct SourceRead {
    const std::string* pInput;
    TwExportOptions options;
    TwExportScene scene;
    TwExportStats stats;
    std::string why;
    int bOk;
    pthread_t thread;
    int bStarted;
};

static void* ReadSourceThread(void* pData)
{
    SourceRead* r = (SourceRead*)pData;
    r->bOk = ReadSource(r->pInput->c_str(), r->options, &r->scene, &r->stats, &r->why);
    return nullptr;
}

int twExport_ConvertMany(const std::vector<std::string>& inputs, const TwExportOptions& options, TwExportModel* pModel,
                         TwExportStats* pStats, std::string* pError, std::vector<std::string>* pSkipped)
{
    // the sources side by side, as many at once as there are cores; the bar follows the first
    std::vector<SourceRead> reads(inputs.size());
    long lCores = sysconf(_SC_NPROCESSORS_ONLN);
    size_t uiAtOnce = lCores > 1 ? (size_t)lCores : 1;
    for (size_t i = 0; i < inputs.size(); i++) {
        reads[i].pInput = &inputs[i];
        reads[i].options = options;
        if (i)
            reads[i].options.pfnProgress = nullptr;
    }
    for (size_t uiFirst = 0; uiFirst < reads.size(); uiFirst += uiAtOnce) {
        size_t uiEnd = std::min(reads.size(), uiFirst + uiAtOnce);
        for (size_t i = uiFirst; i < uiEnd; i++)
            reads[i].bStarted = uiEnd - uiFirst > 1 && pthread_create(&reads[i].thread, nullptr, ReadSourceThread,
                                                                       &reads[i]) == 0;
        for (size_t i = uiFirst; i < uiEnd; i++) {
            if (reads[i].bStarted)
                pthread_join(reads[i].thread, nullptr);
            else
                ReadSourceThread(&reads[i]); // one alone, or no thread to be had
        }
    }
    std::vector<TwExportScene> scenes;
    std::vector<std::string> names;
    for (SourceRead& r : reads) {
        const std::string& input = *r.pInput;
        pStats->iSkipped += r.stats.iSkipped;
        if (!r.bOk) {
            // one model that can't be read leaves the others
            if (pSkipped)
                pSkipped->push_back(SourceName(input) + ": " + r.why);
            *pError = SourceName(input) + ": " + r.why;
            continue;
        }
        scenes.push_back(std::move(r.scene));
        names.push_back(SourceName(input));
    }
    if (scenes.empty())
        return 0;
    TwExportScene joined;
    if (!twExport_MergeScenes(scenes, names, &joined)) {
        *pError = "the models could not be joined";
        return 0;
    }
    return twExport_Finish(joined, options, pModel, pStats, pError);
}

int twExportScene_Convert(const char* pstrInput, const TwExportOptions& options, TwExportModel* pModel,
                          TwExportStats* pStats, std::string* pError)
{
    TwExportScene scene;
    return ReadSource(pstrInput, options, &scene, pStats, pError) &&
           twExport_Finish(scene, options, pModel, pStats, pError);
}
