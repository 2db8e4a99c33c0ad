// Meshes from triangle soup: vertices welded by position, triangles joined into surfaces
// (connected runs of coplanar triangles), a mesh called smooth when most of its area is
// gently curved, and feature edges at boundaries and creases.
#include <math.h>
#include <string.h>

#include <unordered_map>

#include "engine/vector.h"
#include "tools/export/export.h"

#define WELD_GRID 1.0e-5       // metres: positions closer than this are one vertex
#define MIN_AREA 1.0e-10f      // square metres: thinner triangles are dropped
#define CHUNK_TRIANGLES 10000  // per mesh: keeps vertices, indices and edge indices under 65536
#define SMOOTH_MIN_TRIANGLES 8

struct Triangle {
    uint32_t auiCorner[3];  // into the soup's corners
    int aiWelded[3];
    float vNormal[3];
    float fArea;
    int iSurface;
};

struct Chunk {
    std::vector<float> welded;          // x, y, z of each welded vertex
    std::vector<Triangle> tris;
    std::unordered_map<uint64_t, std::vector<int>> edges; // welded pair -> triangles
};

static uint64_t EdgeKey(int a, int b)
{
    if (a > b) {
        int t = a;
        a = b;
        b = t;
    }
    return ((uint64_t)(uint32_t)a << 32) | (uint32_t)b;
}

struct WeldKey {
    int64_t x, y, z;
    bool operator==(const WeldKey& o) const { return x == o.x && y == o.y && z == o.z; }
};
struct WeldHash {
    size_t operator()(const WeldKey& k) const
    {
        return (size_t)(k.x * 73856093 ^ k.y * 19349663 ^ k.z * 83492791);
    }
};

static void Weld(const TwExportSoup& soup, uint32_t uiFirstTri, uint32_t uiNumTris, Chunk* pChunk)
{
    std::unordered_map<WeldKey, int, WeldHash> ids;
    for (uint32_t t = uiFirstTri; t < uiFirstTri + uiNumTris; t++) {
        Triangle tri = {};
        for (int k = 0; k < 3; k++) {
            uint32_t uiCorner = soup.corners[t * 3 + k];
            const float* p = &soup.positions[uiCorner * 3];
            WeldKey key = {llround(p[0] / WELD_GRID), llround(p[1] / WELD_GRID), llround(p[2] / WELD_GRID)};
            auto it = ids.find(key);
            if (it == ids.end()) {
                it = ids.emplace(key, (int)(pChunk->welded.size() / 3)).first;
                pChunk->welded.insert(pChunk->welded.end(), p, p + 3);
            }
            tri.auiCorner[k] = uiCorner;
            tri.aiWelded[k] = it->second;
        }
        if (tri.aiWelded[0] == tri.aiWelded[1] || tri.aiWelded[1] == tri.aiWelded[2] ||
            tri.aiWelded[0] == tri.aiWelded[2])
            continue;
        const float* a = &pChunk->welded[tri.aiWelded[0] * 3];
        const float* b = &pChunk->welded[tri.aiWelded[1] * 3];
        const float* c = &pChunk->welded[tri.aiWelded[2] * 3];
        float u[3], v[3], n[3];
        twVec_Sub(b, a, u);
        twVec_Sub(c, a, v);
        twVec_Cross(u, v, n);
        tri.fArea = 0.5f * twVec_Length(n);
        if (tri.fArea < MIN_AREA)
            continue;
        twVec_Normalize(n);
        memcpy(tri.vNormal, n, sizeof(n));
        tri.iSurface = -1;
        pChunk->tris.push_back(tri);
    }
    for (int t = 0; t < (int)pChunk->tris.size(); t++)
        for (int k = 0; k < 3; k++)
            pChunk->edges[EdgeKey(pChunk->tris[t].aiWelded[k], pChunk->tris[t].aiWelded[(k + 1) % 3])].push_back(t);
}

// Connected runs of coplanar triangles: a flood from each unassigned triangle over shared
// edges, taking neighbours whose normal and corners stay with the seed's plane.
static int FindSurfaces(Chunk* pChunk, const TwExportOptions& options)
{
    float fCosPlane = cosf(options.fPlaneDegrees * (float)M_PI / 180.0f);
    int iNumSurfaces = 0;
    std::vector<int> stack;
    for (int s = 0; s < (int)pChunk->tris.size(); s++) {
        if (pChunk->tris[s].iSurface >= 0)
            continue;
        const Triangle& seed = pChunk->tris[s];
        float fD = -twVec_Dot(seed.vNormal, &pChunk->welded[seed.aiWelded[0] * 3]);
        pChunk->tris[s].iSurface = iNumSurfaces;
        stack.assign(1, s);
        while (!stack.empty()) {
            int t = stack.back();
            stack.pop_back();
            for (int k = 0; k < 3; k++) {
                const Triangle& tri = pChunk->tris[t];
                const std::vector<int>& around = pChunk->edges[EdgeKey(tri.aiWelded[k], tri.aiWelded[(k + 1) % 3])];
                for (int n : around) {
                    Triangle& next = pChunk->tris[n];
                    if (next.iSurface >= 0 || twVec_Dot(next.vNormal, seed.vNormal) < fCosPlane)
                        continue;
                    int bInPlane = 1;
                    for (int c = 0; c < 3; c++)
                        if (fabsf(twVec_Dot(seed.vNormal, &pChunk->welded[next.aiWelded[c] * 3]) + fD) >
                            options.fPlaneTolerance)
                            bInPlane = 0;
                    if (!bInPlane)
                        continue;
                    next.iSurface = iNumSurfaces;
                    stack.push_back(n);
                }
            }
        }
        iNumSurfaces++;
    }
    return iNumSurfaces;
}

// Smooth when more than half the area lies in surfaces that meet a neighbour at a gentle
// angle: curved shells, not boxes.
static int IsSmooth(const Chunk& chunk, int iNumSurfaces, float fCosCrease)
{
    if (chunk.tris.size() < SMOOTH_MIN_TRIANGLES)
        return 0;
    std::vector<char> soft(iNumSurfaces, 0);
    for (const auto& edge : chunk.edges) {
        if (edge.second.size() != 2)
            continue;
        const Triangle& a = chunk.tris[edge.second[0]];
        const Triangle& b = chunk.tris[edge.second[1]];
        if (a.iSurface != b.iSurface && twVec_Dot(a.vNormal, b.vNormal) >= fCosCrease)
            soft[a.iSurface] = soft[b.iSurface] = 1;
    }
    float fSoft = 0, fTotal = 0;
    for (const Triangle& t : chunk.tris) {
        fTotal += t.fArea;
        if (soft[t.iSurface])
            fSoft += t.fArea;
    }
    return fSoft > 0.5f * fTotal;
}

// Texture coordinates: the source's, or where a textured material has none, the position
// projected on the plane across the normal's largest axis, a unit a metre.
static void CornerUv(const TwExportSoup& soup, uint32_t uiCorner, const float* pvPos, const float* pvNormal,
                     int bTextured, float* pfU, float* pfV)
{
    if (!soup.uvs.empty()) {
        *pfU = soup.uvs[uiCorner * 2];
        *pfV = soup.uvs[uiCorner * 2 + 1];
        return;
    }
    *pfU = *pfV = 0;
    if (!bTextured)
        return;
    float ax = fabsf(pvNormal[0]), ay = fabsf(pvNormal[1]), az = fabsf(pvNormal[2]);
    if (ax >= ay && ax >= az) {
        *pfU = pvPos[2];
        *pfV = pvPos[1];
    } else if (ay >= az) {
        *pfU = pvPos[0];
        *pfV = pvPos[2];
    } else {
        *pfU = pvPos[0];
        *pfV = pvPos[1];
    }
}

struct VertexKey {
    int iWelded;
    int32_t aiNormal[3];
    int32_t aiUv[2];
    bool operator==(const VertexKey& o) const
    {
        return iWelded == o.iWelded && !memcmp(aiNormal, o.aiNormal, sizeof(aiNormal)) && !memcmp(aiUv, o.aiUv, sizeof(aiUv));
    }
};
struct VertexHash {
    size_t operator()(const VertexKey& k) const
    {
        return (size_t)k.iWelded * 2654435761u ^ (size_t)(k.aiNormal[0] * 31 + k.aiNormal[1] * 17 + k.aiNormal[2]) ^
               (size_t)(k.aiUv[0] * 7 + k.aiUv[1]);
    }
};

// Adds a vertex for a corner, or finds the one with the same place, normal and coordinates.
static uint16_t AddVertex(TwExportMesh* pMesh, std::unordered_map<VertexKey, int, VertexHash>* pIds, const Chunk& chunk,
                          int iWelded, const float* pvNormal, float fU, float fV)
{
    VertexKey key = {iWelded,
                     {(int32_t)lroundf(pvNormal[0] * 10000), (int32_t)lroundf(pvNormal[1] * 10000),
                      (int32_t)lroundf(pvNormal[2] * 10000)},
                     {(int32_t)lroundf(fU * 10000), (int32_t)lroundf(fV * 10000)}};
    auto it = pIds->find(key);
    if (it != pIds->end())
        return (uint16_t)it->second;
    TwExportVertex v;
    v.fU = fU;
    v.fV = fV;
    memcpy(v.vNormal, pvNormal, sizeof(v.vNormal));
    memcpy(v.vPos, &chunk.welded[iWelded * 3], sizeof(v.vPos));
    pIds->emplace(key, (int)pMesh->verts.size());
    pMesh->verts.push_back(v);
    return (uint16_t)(pMesh->verts.size() - 1);
}

static void BuildChunk(const TwExportSoup& soup, uint32_t uiFirstTri, uint32_t uiNumTris, int iMaterial,
                       int bTextured, const TwExportOptions& options, std::vector<TwExportMesh>* pMeshes,
                       TwExportStats* pStats)
{
    Chunk chunk;
    Weld(soup, uiFirstTri, uiNumTris, &chunk);
    if (chunk.tris.empty())
        return;
    float fCosCrease = cosf(options.fCreaseDegrees * (float)M_PI / 180.0f);
    int iNumSurfaces = FindSurfaces(&chunk, options);
    TwExportMesh mesh;
    mesh.iMaterial = iMaterial;
    mesh.bSmooth = IsSmooth(chunk, iNumSurfaces, fCosCrease);
    std::unordered_map<VertexKey, int, VertexHash> ids;
    std::vector<uint16_t> cornerOut(chunk.tris.size() * 3);
    if (!mesh.bSmooth) {
        // each surface on its own vertices, with the surface's normal; its triangles together
        std::vector<std::vector<int>> members(iNumSurfaces);
        for (int t = 0; t < (int)chunk.tris.size(); t++)
            members[chunk.tris[t].iSurface].push_back(t);
        for (int s = 0; s < iNumSurfaces; s++) {
            float n[3] = {0, 0, 0}, fArea = 0;
            for (int t : members[s]) {
                for (int i = 0; i < 3; i++)
                    n[i] += chunk.tris[t].vNormal[i] * chunk.tris[t].fArea;
                fArea += chunk.tris[t].fArea;
            }
            twVec_Normalize(n);
            ids.clear();
            TwExportSurface surface = {(uint16_t)mesh.indices.size(), 0, fArea};
            for (int t : members[s])
                for (int k = 0; k < 3; k++) {
                    const Triangle& tri = chunk.tris[t];
                    float fU, fV;
                    CornerUv(soup, tri.auiCorner[k], &chunk.welded[tri.aiWelded[k] * 3], n, bTextured, &fU, &fV);
                    cornerOut[t * 3 + k] = AddVertex(&mesh, &ids, chunk, tri.aiWelded[k], n, fU, fV);
                    mesh.indices.push_back(cornerOut[t * 3 + k]);
                }
            surface.usNumIndices = (uint16_t)(mesh.indices.size() - surface.usFirstIndex);
            mesh.surfaces.push_back(surface);
        }
        pStats->iSurfaces += iNumSurfaces;
    } else {
        // normals averaged over the triangles around a vertex that meet this one gently
        std::vector<std::vector<int>> around(chunk.welded.size() / 3);
        for (int t = 0; t < (int)chunk.tris.size(); t++)
            for (int k = 0; k < 3; k++)
                around[chunk.tris[t].aiWelded[k]].push_back(t);
        for (int t = 0; t < (int)chunk.tris.size(); t++) {
            const Triangle& tri = chunk.tris[t];
            for (int k = 0; k < 3; k++) {
                float n[3] = {0, 0, 0};
                for (int o : around[tri.aiWelded[k]])
                    if (twVec_Dot(chunk.tris[o].vNormal, tri.vNormal) >= fCosCrease)
                        for (int i = 0; i < 3; i++)
                            n[i] += chunk.tris[o].vNormal[i] * chunk.tris[o].fArea;
                twVec_Normalize(n);
                float fU, fV;
                CornerUv(soup, tri.auiCorner[k], &chunk.welded[tri.aiWelded[k] * 3], tri.vNormal, bTextured, &fU, &fV);
                cornerOut[t * 3 + k] = AddVertex(&mesh, &ids, chunk, tri.aiWelded[k], n, fU, fV);
                mesh.indices.push_back(cornerOut[t * 3 + k]);
            }
        }
        pStats->iSmoothMeshes++;
    }
    // feature edges: where the shell ends, and where it folds more sharply than the crease
    for (const auto& edge : chunk.edges) {
        const std::vector<int>& tris = edge.second;
        int bFeature =
            tris.size() != 2 || twVec_Dot(chunk.tris[tris[0]].vNormal, chunk.tris[tris[1]].vNormal) < fCosCrease;
        if (!bFeature)
            continue;
        const Triangle& tri = chunk.tris[tris[0]];
        int a = (int)(edge.first >> 32), b = (int)(edge.first & 0xFFFFFFFF);
        for (int k = 0; k < 3; k++) {
            if (tri.aiWelded[k] == a)
                mesh.edges.push_back(cornerOut[tris[0] * 3 + k]);
        }
        for (int k = 0; k < 3; k++) {
            if (tri.aiWelded[k] == b)
                mesh.edges.push_back(cornerOut[tris[0] * 3 + k]);
        }
    }
    pStats->iEdges += (int)mesh.edges.size() / 2;
    pStats->iTriangles += (int)mesh.indices.size() / 3;
    pStats->iMeshes++;
    pMeshes->push_back(mesh);
}

void twExportGeometry_BuildMeshes(const TwExportSoup& soup, int iMaterial, int bTextured,
                                  const TwExportOptions& options, std::vector<TwExportMesh>* pMeshes,
                                  TwExportStats* pStats)
{
    uint32_t uiNumTris = (uint32_t)(soup.corners.size() / 3);
    for (uint32_t uiFirst = 0; uiFirst < uiNumTris; uiFirst += CHUNK_TRIANGLES) {
        uint32_t uiCount = uiNumTris - uiFirst < CHUNK_TRIANGLES ? uiNumTris - uiFirst : CHUNK_TRIANGLES;
        BuildChunk(soup, uiFirst, uiCount, iMaterial, bTextured, options, pMeshes, pStats);
    }
}
