// The baked light: surfaces and their rectangles (surfaces.cpp), lightmap packing
// (lightmaps.cpp), the solution's set-up and teardown (light.cpp) and its files
// (light_files.cpp). The light's state lives in TwWorld; the records here hang off the
// render arrays (TwSurfaceArray) and the world's surface tables.
#pragma once
#include <stdint.h>

#include "engine/list.h"
#include "engine/reader.h"
#include "engine/writer.h"
#include "world/world.h"

struct TwCamera;

#define TW_LIGHTMAP_SIZE 512          // luxels: the page side
#define TW_LIGHTMAP_MAX_INDICES 60000 // a lightmap's vertex numbers stay within 16 bits
#define TW_SURFACE_ARRAY_STRIDE 6000  // a surface array's iIndex: group times this, plus the render array
#define TW_SAMPLER_SIZE_LO 16
#define TW_SAMPLER_SIZE_HI 64
#define TW_LIGHT_QUALITY_DEFAULT 1
#define TW_LIGHT_RANGE_DEFAULT 2.0f   // metres
#define TW_SURFACE_EQ_RECORD_SIZE 72
#define TW_SAMPLE_NEAR 0.004f        // metres: the sample view's near plane, and a sample's lift off a wall

// One surface of a flat mesh: a run of its triangles in one plane, lit as one patch of a
// lightmap. Its rectangle (origin, axes, extents) carries the luxel grid.
struct TwSurface {
    uint16_t usFirstIndex;   // into the mesh's pusIndices
    uint16_t usNumIndices;   // a multiple of 3
    float fSize;             // the exporter's size measure: larger is lit earlier
    uint32_t iIndex;         // position in pWorld->ppSurfaces
    TwMesh* pMesh;
    float fPlane[4];         // normal and offset, from the first triangle
    float fPlaneU[4];        // unit axis and offset: U.P + d runs 0 to fDistU over the rectangle
    float fPlaneV[4];
    float fOrigin[3];        // the corner where U and V are 0
    float fDistU, fDistV;    // metres
    uint16_t usLuxelsU, usLuxelsV; // the patch's size
    uint32_t uiLightmapX, uiLightmapY; // the patch's place in its lightmap
    float fTexRect[4];       // the patch in texture units: u, v, width, height
    uint8_t bNoSampling;     // needs no samples: keeps full light
    uint8_t bLit;            // every luxel has been sampled
    TwLightmap* pLightmap;
    float fBoxCentre[3], fBoxHalf[3]; // around its vertices
};

// The surfaces of one render array, in lighting order, and the lightmaps they fill
struct TwSurfaceArray {
    int32_t iIndex;          // element group times 6000 plus the render array's number
    TwSurface* pSurfaces2;   // iNumSurfaces, owned
    int32_t iNumSurfaces;
    uint32_t uiNumIndices;   // of all its surfaces
    TwList* pLightmapList;   // TwLightmap records in the order made, owned
};

// A vertex of a lightmap's private buffers
struct TwLightmapVertex {
    float vPos[3];
    float fU, fV;            // the material's texture
    float fMapU, fMapV;      // the lightmap
    int8_t acNormal[3];      // times 127, toward zero
    uint8_t ucUnused;
};
static_assert(sizeof(TwLightmapVertex) == 32, "lightmap vertex is 32 bytes in the buffers");

// One page of luxels with the geometry of the surfaces it holds. Patches go in shelves:
// left to right, a new shelf above the tallest patch of the last.
struct TwLightmap {
    int32_t iIndex;          // in the surface array's pLightmapList
    int32_t iWidth, iHeight; // luxels; the height is trimmed to what was used
    uint32_t uiPenX, uiPenY; // where the next patch goes
    uint32_t uiLastWidth;
    uint32_t uiShelfHeight;  // the tallest patch of the current shelf
    uint32_t uiRowRemaining; // width left on the current shelf
    uint32_t uiHeightRemaining; // from the current shelf's bottom line
    TwTexture* pTexture;
    uint32_t hVboVerts, hVboIndices;
    TwLightmapVertex* pVerts; // client copies, only where buffers could not be made
    uint16_t* pusIndices;
    uint16_t usNumVerts, usNumIndices;
    uint8_t bHasHiddenSurfaces;
    uint8_t bLit;            // some surface of it is lit: only then does the light file hold it
    TwList* pSurfaceList;    // its surfaces, in the order placed; not owned
};

// A surface's rectangle as LightEq.bin holds it
#pragma pack(push, 1)
struct TwSurfaceEqRecord {
    float fPlane[4], fPlaneU[4], fPlaneV[4];
    float fOrigin[3];
    float fDistU, fDistV;
    uint8_t bNoSampling, bLit;
    uint8_t aucUnused[2];
};
#pragma pack(pop)
static_assert(sizeof(TwSurfaceEqRecord) == TW_SURFACE_EQ_RECORD_SIZE, "surface record mirrors LightEq.bin");

// light.cpp
int twWorld_InitLight(int bNewInit, const char* pstrExternal); // frame files read (0) or computed (1)
int twWorld_InitSamplerTex(void);
int twWorld_FreeRad(void);                                     // undoes twWorld_InitLight
void twWorld_SetLightAbortCallback(TwLightAbortFn pfn);
void twWorld_SetLightProgressCallback(TwLightProgressFn pfn);
// surfaces.cpp
int twWorld_InitSurfaces(int bLoad, const char* pstrExternal);      // counts, orders, stores
int twWorld_InitSurfacesPart2(int bLoad, const char* pstrExternal); // rectangles, bNoSampling, packing
int twWorld_InitSmoothMeshesForLighting(void);
int twWorld_TrackSurfacePlaneEqs(TwMesh* pMesh, TwSurface* pSurface); // fits the rectangle; 0 leaves it unfit
int twWorld_SurfaceIsClear(TwSurface* pSurface);    // 1 when nothing in its range can shade it
int twWorld_GetSurfaceBox(TwSurface* pSurface);
// Six inward planes around a surface's rectangle: its own plane lifted 2 cm, four sides
// fSideRange beyond the rectangle, and a lid fTopRange above it
void twWorld_SurfacePlanes(const TwSurface* pSurface, float fSideRange, float fTopRange, float afPlanes[6][4]);
// lightmaps.cpp
// every surface array's surfaces into its lightmaps, through a work buffer of a lightmap's
// vertices and indices
int twWorld_AssignLightmaps(TwLightmapVertex* pTempVerts, uint16_t* pusTempIndices);
int twWorld_ComputeSurfaceLightmapSize(TwSurface* pSurface);
int twWorld_FitSurfaceInLightmap2(TwSurfaceArray* pSurfaceArray, TwSurface* pSurface, TwLightmapVertex* pTempVerts,
                                  uint16_t* pusTempIndices, int bLast); // 1 placed; 0 not, the lightmap closed
TwLightmap* twWorld_CreateNewLightmap2(TwSurfaceArray* pSurfaceArray);
int twWorld_FinishLightmap2(TwLightmap* pLightmap, TwLightmapVertex* pTempVerts, uint16_t* pusTempIndices);
void twWorld_FreeLightmap(TwLightmap* pLightmap);
int twWorld_CountLightmaps(void);
// The lightmaps in the order the light files keep them: group by group, render array by
// render array, each array's list as made. Start from a zeroed walk; null at the end.
struct TwLightmapWalk {
    int32_t iGroup, iArray;
    TwList* pNext;           // the next list item of the current array; null before it starts
};
TwLightmap* twWorld_NextLightmap(TwLightmapWalk* pWalk);
// light_files.cpp: the frame files, from the external copy, the own pack or Temp
// A frame file and a reader over its bytes; null, logged, when it is nowhere
FILE* twWorld_OpenLightFile(const char* pstrName, const char* pstrExternal, TwReader* pReader, const char* pstrTag);
int twWorld_CreateLightFile(TwWriter* pWriter, const char* pstrName, const char* pstrTag); // in Temp
int twWorld_ReadLightInit(const char* pstrExternal);
int twWorld_WriteLightInit(void);
int twWorld_LoadSurfacePlaneEqs2(const char* pstrExternal);
int twWorld_SaveSurfacePlaneEqs2(void);
int twWorld_LoadSurfacePlaneEq(TwReader* pReader, TwSurface* pSurface);
int twWorld_SaveSurfacePlaneEq(TwWriter* pWriter, const TwSurface* pSurface);
// light_files.cpp: the result, LightS.bin and LightM.bin, from Temp (bLocal) or the packs
int twWorld_LoadLight(int bLocal, const char* pstrExternal);
int twWorld_LoadLightS(int bLocal, const char* pstrExternal);
int twWorld_LoadLightM(int bLocal, const char* pstrExternal);
int twWorld_SaveLight(void); // both to Temp, or neither
// light_files.cpp: the five files in Temp as one set (bits in the order LightInit, LightSort,
// LightEq, LightS, LightM). Commit puts the files given in place from their temporary names
// and keeps the others, less the stale ones when any file given differs from the one it
// replaces: 1, or 0 with the old set as it was.
#define TW_LIGHT_NUM_FILES 5
#define TW_LIGHT_FRAME_FILES 0x07
#define TW_LIGHT_RESULT_FILES 0x18
int twWorld_CommitLightSet(int iFromParts, int iStale);
void twWorld_DropLightParts(int iFiles); // what waits under temporary names, given up
// At start: finishes a commit a kill broke off and drops what waits under temporary names;
// 1 when Temp holds a whole set with a result
int twWorld_SettleLightSet(void);
// Temp's light files moved into a folder (made, ending in "/"), kept for a later look; how many
int twWorld_SetLightAside(const char* pstrFolder);
// solver.cpp: the job
int twWorld_LightWorld(const TwCamera* pCamera, int bOnlyVisible); // 1 also when broken off
int twWorld_SelectSurface(int iIndex);  // the surface to light, and what lies in its range
int twWorld_LightSurface(void);         // 0 when broken off
int twWorld_LightSmoothMeshes(void);    // 0 when broken off, or without meshes
int twWorld_PlaceSample(TwSurface* pSurface);  // the current luxel's sample position
int twWorld_AdjustSample(TwSurface* pSurface); // off the walls that stand on the surface
void twWorld_RenderSample(TwSurface* pSurface);
void twWorld_RenderVertexSample(uint8_t* pucOut, int iVertex);
int twWorld_UploadSurfaceLight(TwSurface* pSurface);
// sampler.cpp: the pictures, and the ways their means come back (TW_SAMPLE_*)
void twWorld_BeginSampling(void); // the sampler's target, programs and states; again after a redraw
void twWorld_EndSampling(void);
void twWorld_FreeSampler(void);   // the target and its buffers, at the world's end
void twWorld_StartSamplePaths(int iSamplesLeft); // a job's way: the one asked for, or a trial's fastest
const char* twWorld_SamplePathName(int iPath);   // "one by one", "batched", "in flight", "on the card"
// One picture from vSamplePos along a direction, into the item's tile; its mean, one byte,
// goes to pucOut once it is in, which may be some samples later
void twWorld_TakeSample(const float* pvDir, const float* pvUp, int iItem, uint8_t* pucOut);
uint32_t twWorld_CollectSamples(void); // every mean drawn so far stored; the count in
uint32_t twWorld_SamplesIn(void);      // samples whose means are stored, of those taken, up to the first lost
int twWorld_SamplesLost(void);         // a mean never came back: the job stops
uint32_t twWorld_SamplesTaken(void);
void twWorld_ReduceSampleOnGpu(const int* piRect, uint32_t hPbo); // the tiles of a rectangle to their means, on the card
void twWorld_ShowLightProgress(void);
int twWorld_ResetLightProgress(void);
int twWorld_LightComplete(void);        // every sample there is has been taken
// the developers' arrows: the selected surface's luxel moved, kept within the surface; 0
// without a surface selected
int twWorld_MoveSelectedLuxel(int iDu, int iDv);
void twWorld_FindVisibleSurfaces(const TwCamera* pCamera);
void twWorld_FindVisibleMeshes(const TwCamera* pCamera);
