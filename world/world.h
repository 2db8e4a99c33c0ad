// The loaded building and everything derived from it. One record, pWorld, allocated by
// twWorld_Init for the life of the program; a model is loaded into it (model_file.cpp),
// completed by the post-load pipeline (post_load.cpp, element_groups.cpp) and emptied by
// twWorld_Free. Other modules read the records directly. Outside the world's own files,
// three write into it, each to its own fields: the visibility sweep (render/sweep.cpp:
// the groups' and the world's frame stamps and the sun disc's count), the world's drawing
// (render/world_draw.cpp: what a frame drew, the program binds it remembers) and the
// collision (navigation/collision.cpp: its counters and szCollisionInfo).
#pragma once
#include <stdint.h>
#include <stdio.h>

#include "engine/core.h"
#include "engine/list.h"

struct TwTexture;
struct TwFbo;
struct TwCamera;
struct TwTree;
struct TwTreeItem;
struct TwSurface;
struct TwSurfaceArray;
struct TwLightmap;

#define TW_MODEL_VERSION_MIN 226
// Where the model came from (iModelSource)
#define TW_MODEL_OWN_PACK 1   // a copy's own
#define TW_MODEL_NAMED_PACK 2 // a copy opened
#define TW_MODEL_PLAIN_FILE 3 // Temp's, or another file
#define TW_ELEMENT_RECORD_SIZE 400
#define TW_MATERIAL_RECORD_SIZE 608
#define TW_TEXTURE_RECORD_SIZE 172
// The element record's fields, at their offsets in the file's 400 bytes
#define TW_ELM_WORD0 0
#define TW_ELM_NUM_VERTS 12
#define TW_ELM_NUM_INDICES 16
#define TW_ELM_BOXES 20      // vMin, vMax, vCentre, vHalfSize
#define TW_ELM_EXPORTER1 68  // the exporter's bytes, the element's name first
#define TW_ELM_TYPE 352
#define TW_ELM_EXPORTER2 356
#define TW_ELM_LAYER 364
#define TW_ELM_EXPORTER3 368
// The texture record's: its name, its size and whether its alpha is used; the image follows
#define TW_TEX_NAME_SIZE 128
#define TW_TEX_WIDTH 128
#define TW_TEX_HEIGHT 132
#define TW_TEX_USE_ALPHA 156
#define TW_MESH_FIXED_SIZE 60
#define TW_GROUP_MAX_RADIUS 6.0f   // metres: largest half diagonal of an element group
#define TW_GROUP_MESH_CAP 6000     // a group with more meshes takes no further element
#define TW_BATCH_INDEX_CAP 18000   // a mesh joins a batch only while its indices stay below this
#define TW_BATCH_MAX_VERTS 65535   // u16 indices reach no further
#define TW_BATCH_INDEX_AREA 0x200000 // bytes: where a batch's indices are gathered in the temp buffer

// Element types: the CAD host's codes that the viewer treats in its own way. All others
// are drawn, collided with and may occlude.
#define TW_TYPE_WALL 1            // 1, 2, 3 and 6 make the building's box
#define TW_TYPE_SLAB 2
#define TW_TYPE_ROOF 3
#define TW_TYPE_FURNISHING 4      // walked through
#define TW_TYPE_DOOR 5            // counted, walked through, never occludes
#define TW_TYPE_COLUMN 6
#define TW_TYPE_NO_OCCLUDER 10    // drawn and collided with, but never hides what lies behind
#define TW_TYPE_PASSABLE_FIRST 37 // 37 to 42: walked through
#define TW_TYPE_PASSABLE_LAST 42

// The ways a light job's pictures give back their means (iSamplePath): each read back alone;
// a row of tiles read back at once; the whole target read back while the next is drawn; or
// each tile reduced to its mean on the card, a few bytes read back while the next is drawn
#define TW_SAMPLE_CHOOSE -1
#define TW_SAMPLE_ONE_BY_ONE 0
#define TW_SAMPLE_BATCHED 1
#define TW_SAMPLE_IN_FLIGHT 2
#define TW_SAMPLE_ON_CARD 3
#define TW_SAMPLE_NUM_PATHS 4
#define TW_SAMPLE_ROUNDS_IN_FLIGHT 3 // targets whose means are on their way back

#define TW_NUM_VERTEX_PROGRAMS 32
#define TW_NUM_FRAGMENT_PROGRAMS 2048
#define TW_PROGRAM_FAILED 0xFFFFFFFFu // a fragment key the driver refused: not tried again
#define TW_PROGRAM_TEXT_SIZE 4096

// Vertex program key bits
#define TW_VP_TEXTURE 0x01
#define TW_VP_VERTEX_COLOR 0x02
#define TW_VP_MAP_COORDS 0x04
#define TW_VP_SHADOW 0x08
#define TW_VP_INSTANCE 0x10
// Fragment program key bits
#define TW_FP_TEXTURE 0x001
#define TW_FP_VERTEX_LIGHT 0x002
#define TW_FP_LIGHT_MAP 0x004
#define TW_FP_SHADOW 0x008
#define TW_FP_FILTERED 0x010
#define TW_FP_SUN_ADDS 0x020
#define TW_FP_WHITE_SUN 0x040
#define TW_FP_ALPHA 0x080
#define TW_FP_GREY 0x100
#define TW_FP_WHITE 0x200
#define TW_CUT_PLANES 6     // planes of the cut at once: the clip planes every driver has

#define TW_VIS_VERTEX_BYTES 16 // visibility and occluder vertices: position and a 32-bit word
#define TW_LOAD_STEPS 12 // 0 the file's reading, 1 to 11 the post-load steps

#define TW_BSP_MAX_TRIS_IN_LEAF 2000
#define TW_BSP_MAX_RECURSE 80000
#define TW_BSP_MIN_HALF_SIZE 0.2f

// The model's vertex, the same in the file and in GL arrays.
struct TwVertex {
    float fU, fV;       // texture coordinates
    float vNormal[3];
    float vPos[3];      // metres, world space
};
static_assert(sizeof(TwVertex) == 32, "vertex mirrors the file");

// A run of coplanar triangles of a flat mesh, lit together.
struct TwMeshSurface {
    uint16_t usFirstIndex; // into the mesh's pusIndices
    uint16_t usNumIndices;
    float fSize;           // the exporter's size measure: 6.0 or more may occlude
};
static_assert(sizeof(TwMeshSurface) == 8, "surface mirrors the file");

struct TwElement;

// One piece of an element with one material.
struct TwMesh {
    int32_t iIndex;             // running number in the whole world, file order
    uint32_t auiUnused[2];
    TwVertex* pVerts;           // usNumVerts, owned
    uint16_t* pusIndices;       // triangle list into pVerts, owned
    uint16_t* pusEdgeIndices;   // line list of feature edges, owned
    uint16_t usNumVerts;
    uint16_t usNumIndices;
    uint16_t usNumEdgeIndices;
    uint32_t hVboVerts, hVboIndices, hVboEdgeIndices; // optional GL buffers, 0 when absent
    int32_t iMaterial;          // into pWorld->pMaterials
    int32_t bSmooth;            // lit per vertex, no surfaces
    int32_t bLit;               // lighting state from the file, kept by the light side
    float vCentre[3];
    float vHalfSize[3];
    uint32_t auiKept[3];        // from the file, not interpreted
    TwElement* pElement;        // owner, set in post-load
    TwMeshSurface* pSurfaces;   // usNumSurfaces, owned; null for a smooth mesh
    uint16_t usNumSurfaces;
    uint8_t* pucVertexLight;    // four bytes a vertex, smooth meshes only
};

struct TwElementGroup;

// One building element as exported. The file's 400-byte record is copied field by field:
// its two pointer words have no meaning in the file.
struct TwElement {
    uint32_t uiWord0;           // kept
    TwMesh* pMeshes;            // iNumMeshes, owned
    int32_t iNumMeshes;
    int32_t iNumVerts;          // grows by each mesh at load
    int32_t iNumIndices;
    float vMin[3], vMax[3];     // box, corner form
    float vCentre[3], vHalfSize[3]; // box, centre form
    uint8_t aucExporter1[284];  // kept
    int32_t iType;              // the CAD host's element type
    uint8_t aucExporter2[8];    // kept
    int32_t iLayer;             // into the layer table
    uint8_t aucExporter3[28];   // kept
    TwElementGroup* pElementGroup; // grouping mark, never followed after grouping
};

// A material, as the file has it.
struct TwMaterial {
    uint32_t uiWord0;            // kept
    char szName[512];
    float vDiffuse[3];           // 0 to 1
    float vAmbient[4];           // for the fixed-function sun
    float vSpecular[4];
    float vEmission[4];
    float fShininess;
    float fTransparency;
    uint8_t aucRenderer2[8];     // kept for the renderer
    int32_t iTexture;            // into ppTextures, or -1
    uint32_t uiWord1;            // kept
    int32_t bIsTransparent;      // drawn in the second pass, no occluders
    int32_t iNumUsers;           // meshes using it, counted at post-load on top of the file's value
};
static_assert(sizeof(TwMaterial) == TW_MATERIAL_RECORD_SIZE, "material mirrors the file");

// One drawable piece of a render array: its arrays in GL buffers or in memory, never both.
struct TwBatch {
    uint16_t usNumVerts, usNumIndices;
    uint32_t hVboVerts, hVboIndices; // non-zero hVboVerts: the data is in buffers
    TwVertex* pVerts;                // owned, when in memory
    uint16_t* pusIndices;
};

// The geometry of one material in one element group.
struct TwRenderArray {
    int32_t iMaterial;
    TwElementGroup* pElementGroup;
    TwList* pMeshListBatch;  // meshes of this material in the group, not owned
    TwList* pBatchList;      // TwBatch records, owned
    TwList* pMeshListSmooth; // smooth meshes, built by the light side
    TwSurfaceArray* pSurfaceArray2; // its surfaces and lightmaps, built by the light side
};

// A spatial cluster of elements: the unit of culling, drawing and occlusion. Its first
// fields are those of the item tree's items.
struct TwElementGroup {
    float vCentre[3], vHalfSize[3]; // box of its elements
    uint32_t uiVisibleFrame;        // stamp: in view this frame when equal to the world's
    void* pData;                    // the group's own address, for the item tree
    uint32_t auiCullState1[4];      // culling state of the sweep
    float fRadius, fRadiusSq;       // length of vHalfSize, and its square
    uint32_t auiCullState2[4];
    TwElement** ppElements;         // iNumElements + a null, owned
    int32_t iNumElements;
    int32_t iNumMeshes;
    uint16_t usNumVisVerts, usNumVisIndices, usNumGroupVisIndices;
    float* pVisVerts;
    uint16_t* pusVisIndices;
    uint32_t hVboVisVerts, hVboVisIndices;
    uint16_t usNumOccluderVerts;
    float* pOccluderVerts;          // four floats a vertex
    uint16_t usNumOccluderIndices;
    uint16_t* pusOccluderIndices;
    uint32_t hVboOccluderVerts, hVboOccluderIndices;
    int32_t bHasHiddenElements;     // an element lies on a hidden layer
    TwRenderArray* pRenderArrays;   // one per material used, ascending material index
    int32_t iNumRenderArrays;
};

// A node of the physics tree: a box halved across its longest axis. Only leaves hold
// triangles, as three pointers into a mesh's own vertices each.
struct TwBspVolume {
    int32_t iId;
    float vCentre[3], vHalfSize[3];
    int32_t bLeaf;
    float vSplit[3];             // inner nodes: a quarter of the extent along the split axis
    int32_t iNumPhysTris;        // triangles given to the node
    TwVertex** ppPhysTris;       // three a triangle; leaves only
    TwBspVolume* pFront;         // at and above the split
    TwBspVolume* pBack;
};

// Progress display of long jobs: a fraction from 0 to 1
typedef int (*TwProgressFn)(const char* pstrLine1, const char* pstrLine2, float fFraction);
// The light job's redraw, and its question whether to stop
typedef void (*TwLightProgressFn)(void);
typedef int (*TwLightAbortFn)(void);

// The side file: "Ambulon elements 2", "model\t<bytes>\t<elements>", "source\t<path>", "place\t
// <moved x, y, z>\t<latitude>\t<longitude>\t<elevation>\t<eastings>\t<northings>\t<height>\t
// <map>" ("nan" where unknown; a file of version 1 has no place line), then a line for each
// element in the model's order: name, class, storey, GlobalId, tab-separated
// The files that go with a model, beside it under its name with another extension: the
// exporter writes them, the link moves them with the model, their readers find them there
#define TW_SIDE_ELEMENTS 0 // ".elements": each element's name, IFC class, storey and GlobalId
#define TW_SIDE_PROPERTIES 1 // ".properties": each element's sets of values, read an element at a time
#define TW_NUM_SIDE_FILES 2
// The properties side file: "Ambulon properties 1", "model\t<bytes>\t<elements>", then for
// each element in the model's order where its text starts past the table and its length,
// then the texts: lines of "set\tname\tvalue\tunit"
#define TW_PROPERTIES_MAGIC "Ambulon properties 1"
#define TW_PROPERTIES_MAX_SIZE (1024u << 20)   // a larger file is refused; the exporter stops short of it
#define TW_PROPERTIES_MAX_ELEMENT (1u << 20)   // one element's text at most
#define TW_PROPERTIES_HEAD_MAX 128             // the two lines at most
struct TwPropertiesEntry {
    uint32_t uiOffset, uiLength;
};
static_assert(sizeof(TwPropertiesEntry) == 8, "a properties entry is two words on file");
#define TW_ELEMENT_INFO_MAGIC "Ambulon elements 2"
#define TW_ELEMENT_INFO_MAGIC_1 "Ambulon elements 1" // before the place line: still read
#define TW_ELEMENT_INFO_MAX_SIZE (16 << 20)
#define TW_ELEMENT_INFO_FIELDS 5 // name, class, storey, GlobalId, and the model of several it came from
struct TwElementInfo {
    const char* apstrFields[TW_ELEMENT_INFO_FIELDS]; // name, IFC class, storey, GlobalId, model; "" when unknown
};

// Where the model stands on the earth, as its side file tells it; NaN where not known
struct TwModelPlace {
    int32_t bKnown;                // a side file told it
    double adMoved[3];             // metres the exporter moved it to lie near its origin
    double dLatitude, dLongitude;  // degrees, north and east positive
    double dElevation;             // metres
    double dEastings, dNorthings, dHeight; // the map conversion's, in the map's metres
    char szMap[64];                // the map's name, "EPSG:25832"
};

struct TwWorld {
    // kept for the life of the program
    int32_t iWidth, iHeight;        // the window's pixels
    int32_t bUseVbo;
    int32_t iOcSize;                // side of the occlusion target
    TwTexture* pOcTex;
    TwTexture* pFlareTex;
    TwTexture* pFlareTex2;
    TwTexture* pExposureTexture;    // a 1D table: only its GL name is used
    int32_t iCurrentVp, iCurrentFp; // program binds remembered by the renderer; -1: none
    int32_t iNumVertexPrograms, iNumFragmentPrograms; // 32 and 2048 once built
    uint32_t ahVertexPrograms[TW_NUM_VERTEX_PROGRAMS];   // by vertex key
    uint32_t ahFragmentPrograms[TW_NUM_FRAGMENT_PROGRAMS]; // by fragment key
    uint32_t hVpWriteDepth, hVpSampler, hFpSampler;
    // the cut, render/caps.cpp: a point is kept where a x + b y + c z + d >= 0 for every plane;
    // set by the section tool each frame, kept across models
    float aafCutPlanes[TW_CUT_PLANES][4];
    int32_t iNumCutPlanes;
    uint32_t uiCutVersion;          // grows when the planes change: the shadow and the outlines follow
    int32_t bCutCaps;               // the cut solids' faces are filled
    // the sun's shadow, render/shadows.cpp: made on first need, kept for the program's life
    uint32_t hShadowTexture;        // depth texture on unit 2
    int32_t iShadowSize;            // texels a side
    int32_t iShadowDepthBits;
    int32_t bShadowsReady;
    int32_t bShadowsBusy;           // set while it is being made
    // the light's settings and sampler, light/
    int32_t iLightQuality;          // 0, 1, 2: 10, 20 or 40 luxels a metre
    float fLightRangeInit;          // metres: the range the user sets and LightInit.bin keeps
    int32_t iLightmapSize;          // luxels: side of a lightmap page
    int32_t bColourLightmaps;
    int32_t iSamplerSizeLo, iSamplerSizeHi; // sides of a sample image
    int32_t iSamplerLevels;         // mipmap levels of the high sample image
    int32_t bSampleHi;              // the high size is used
    int32_t bGpuReduce;             // a sample is reduced by mipmaps instead of read back
    TwTexture* pSamplerResultTexLo;
    TwTexture* pSamplerResultTexHi;
    uint8_t* pSampleDataLo;         // read-back of a sample image, side squared times 4 bytes
    uint8_t* pSampleDataHi;
    uint8_t* pSurfaceLightData;     // three bytes a luxel of the surface being lit
    TwLightProgressFn pfnLightProgress; // the redraw during a light job, or null
    TwLightAbortFn pfnLightAbort;       // non-zero breaks the job off, or null
    char szLightStatus[TW_TEXT_SIZE];   // the light page's texts
    char szLightPercent[TW_TEXT_SIZE];
    char szLightTimeLeft[TW_TEXT_SIZE];
    char szLightSpeed[TW_TEXT_SIZE];
    char szLightSurfaces[TW_TEXT_SIZE]; // "lit / all" of the surfaces
    char szLightVerts[TW_TEXT_SIZE];    // "lit / all" of the smooth meshes' vertices
    char szLightRam[32], szLightVram[32]; // bytes of the light's data, for display
    char szLightExternal[TW_PATH_SIZE]; // the copy the light came from, or empty
    int32_t iSamplePath;            // how the pictures' means come back, TW_SAMPLE_*; TW_SAMPLE_CHOOSE times them
    int32_t iSamplePathTaken;       // the way the last job took
    float afSamplePathCost[TW_SAMPLE_NUM_PATHS]; // seconds a sample each way in the last job's trial, 0 untried
    TwFbo* pSamplerFbo;             // the target the samples are drawn into, a tile each
    uint32_t hSamplerReduceTex;     // the target copied as floats, whose mipmaps give the tiles' means
    uint32_t ahSamplerPbos[TW_SAMPLE_ROUNDS_IN_FLIGHT]; // read-backs under way
    // the model: everything from bLoaded on is cleared when the model is freed
    int32_t bLoaded;                // a model is completely loaded
    int32_t bAnyHiddenElements;
    // iNumElements: 1 where an element shows, to the frame, the shadow, the sweep, the pick,
    // the measure tool and the walker alike; renewed with the layers
    uint8_t* pucElementShown;
    uint8_t* pucElementGlass;       // iNumElements: 1 where X-ray shows an element as glass
    int32_t iNumGlass;              // elements shown as glass
    char szCollisionInfo[128];
    uint8_t aucHeader1[256], aucHeader2[256]; // the file header's blocks and words, kept
    uint32_t auiHeaderWords[2];
    int32_t iModelSource;           // TW_MODEL_OWN_PACK, TW_MODEL_NAMED_PACK or TW_MODEL_PLAIN_FILE
    char szModelPath[TW_PATH_SIZE];
    int32_t iNumTris;
    int32_t iNumPhysTris;           // triangles that take part in collision
    int32_t iNumDoors;              // door elements, for the log
    char szNumTris[32];
    TwBspVolume* pBspVolume;        // root of the physics tree
    TwList* pBspVolumeList;         // every other node
    int32_t iNumBspNodes, iNumBspLeaves, iBspRecurseCount, iBspMaxRecurse;
    float vBspMinHalfSize[3];
    int32_t iBspMaxTrisInLeaf;
    uint32_t uiBspRamUsed, uiBspMaxRamUsed; // bytes of triangle lists during the build
    int32_t iNumCollisionTris, iNumCollisionVolumes;
    float vCollisionBox[3];
    TwTree* pElementGroupTree;      // the item tree over groups
    TwTreeItem** ppElementGroupItemsFromTree; // tree query results, null-terminated
    TwElementGroup** ppElementGroupsInRange; // range query results, null-terminated
    int32_t iNumElementGroups;
    TwElementGroup* pElementGroups;
    uint32_t uiVisibleFrame;        // frame of the last visibility sweep
    int32_t iOcQuadrant;            // quarter of the ID picture the next sweep draws, 0 to 3
    uint32_t uiSkySeenFrame;        // frame in which the sun disc was last seen
    int32_t iSkyPixelsCounting;     // sun disc pixels of the sweeps of this cycle
    int32_t iSkyPixels;             // those of the last full cycle
    float vSunColor[4], vSkyColor[4];
    TwElement* pElements;
    int32_t iNumElements;
    TwMaterial* pMaterials;
    int32_t iNumMaterials;
    int32_t iNumMeshes;
    TwTexture** ppTextures;
    int32_t iNumTextures;
    float vMin[3], vMax[3];         // box of all elements
    float vCentre[3], vHalfSize[3];
    float fRadius, fRadiusSq;
    float vBuildingMin[3], vBuildingMax[3]; // box of walls, slabs, roofs and the like
    float vBuildingCentre[3], vBuildingHalfSize[3];
    float fBuildingRadius, fBuildingRadiusSq;
    TwMesh** ppMeshes;              // all meshes in file order, null-terminated
    TwMesh** ppMeshesVisible;       // work list, iNumMeshes + 1
    int32_t* piMeshesVisible;       // one per mesh
    float afLoadSeconds[TW_LOAD_STEPS]; // what the reading and each post-load step took
    int32_t iNumIndicesDrawn;       // this frame's triangle indices
    int32_t iNumDrawCalls;          // edge draws, for the developer panel
    char szDrawInfo[80];            // "%s / %s": triangles drawn and in all
    // the model's light, light/: built by twWorld_InitLight, freed by twWorld_FreeRad
    int32_t bSurfacesInitialised;   // set by the first attempt, failed or not
    int32_t bLightInitialised;
    int32_t bLightNewInit;          // the frame files were computed, not read
    int32_t bLightLocal, bLightExternal; // where the loaded result came from
    float fLightRange;              // metres: the range in force
    uint32_t uiNumSurfaces;
    TwSurface** ppSurfaces;         // uiNumSurfaces + a null: groups, render arrays, lighting order
    TwSurface** ppSurfacesInRange;  // the same size; rebuilt for each surface lit
    int32_t* piSurfacesVisible;     // one a surface
    TwLightmap* pLightmapFilling;   // the lightmap being packed, or null
    uint32_t uiLightRamBytes;       // memory and video memory the light's data take
    uint32_t uiLightVramBytes;
    char szLastError[128];          // why the last rectangle fit failed
    // the light job, light/solver.cpp
    int32_t iCurrentSurface, iCurrentMesh; // -1: none
    float vSamplePos[3], vSampleNormal[3];
    uint16_t usSampleU, usSampleV;  // the luxel being sampled
    int32_t iSamplesDone, iSamplesTotal, iSamplesSinceRedraw;
    float fSamplesThisRun;
    float fElapsed;                 // seconds of this run
    float fSamplesPerSecond;
    int32_t bAborted;               // the user broke the job off
    int32_t bSampleInTriangle;      // the last sample lay over its surface
    // what each element is in its source, from the side file the exporter leaves beside the
    // model (world/element_info.cpp); none when there is no such file or it isn't this model's
    char* pInfoText;                // the file's text, cut into fields in place
    TwElementInfo* pElementInfo;    // iNumElements records, or null
    char szInfoSource[TW_SET_SIZE]; // the files the model was exported from, joined by tabs; empty: not known
    TwModelPlace place;             // from the side file; all NaN without one
    // each element's sets of values, from the properties side file: its table is read with
    // the model, an element's text when it is asked for (world/element_data.cpp)
    TwPropertiesEntry* pProperties; // iNumElements entries, or null
    int64_t llPropertiesData;       // where the texts start in the file
    char szPropertiesPath[TW_PATH_SIZE];
};

extern TwWorld* pWorld;


// world.cpp
int twWorld_Init(int iWidth, int iHeight, int bUseVbo); // the record and the model-independent textures
int twWorld_Free(void);                                 // empties the model
void twWorld_Shutdown(void);                            // frees the model and the record
int twWorld_GetModelLocation(char* pstrPathOut);        // where the model came from: iModelSource
int twWorld_CollidesByType(int iType);       // its triangles go to the physics tree and stop the walker
int twWorld_GrowsBuildingByType(int iType);  // its box is part of the building's
int twWorld_OccludesByType(int iType);       // its big surfaces may hide what lies behind
// Frees a drawable's arrays, in GL buffers or in memory, each if it is there
void twWorld_FreeDrawArrays(uint32_t hVboVerts, uint32_t hVboIndices, void* pVerts, void* pusIndices);
// model_file.cpp
int twWorld_LoadModel(TwProgressFn pfnProgress, const char* pszPath, int bPack, TwCamera* pCam, char* pszProjectName,
                      int* piSunAltitude, int* piSunAzimuth, int bVbo, int* piStatus);
// element_info.cpp
void twWorld_SideFilePath(const char* pstrModelPath, int iSide, char* pstrOut); // "x.bin" -> "x.elements"
int twWorld_LoadElementInfo(const char* pstrModelPath); // 1 when the model has its side file
// A side file's bytes for the model that is loaded, which is iModelSize bytes long; 1 or 0
// with a line, nothing kept
int twWorld_ReadElementInfo(const char* pData, int64_t iSize, int64_t iModelSize);
void twWorld_FreeElementInfo(void);
const TwElementInfo* twWorld_GetElementInfo(int iElement); // null without one
// element_data.cpp: the properties side file of the model that is loaded (iModelSize bytes):
// its table read and checked, 1; or 0 with a line, nothing kept. ReadProperties takes the
// file's first bytes (its head and table, iSize of a file iFileSize long).
int twWorld_LoadProperties(const char* pstrModelPath);
int twWorld_ReadProperties(const uint8_t* pData, int64_t iSize, int64_t iFileSize, int64_t iModelSize);
void twWorld_FreeProperties(void);
// A published copy's side files, from its pack (the own one with pstrPack null), named as
// its model resource's are: what each element is and its sets of values, for the model
// loaded from that pack; 1 for each found
int twWorld_LoadPackSideFiles(const char* pstrPack, const char* pstrModelName);
// An element's text, read from the file now: a block to free, ending in a zero; null when it
// has none or the file can't give it (logged)
char* twWorld_GetElementProperties(int iElement, int* piLength);
struct TwDataLine {
    const char *pstrSet, *pstrName, *pstrValue, *pstrUnit;
};
// The next whole line of an element's text, cut into its fields in place; 0 at its end
int twWorld_NextDataLine(char** ppAt, TwDataLine* pLine);
// A value with its unit, lengths, areas and volumes in feet where iUnits is 1
void twWorld_FormatValue(const char* pstrValue, const char* pstrUnit, int iUnits, char* pstrOut, int iOutSize);
// What Ctrl+C copies of an element: its GlobalId, IFC class and name, then "Set.Property =
// value unit" a line; a block to free, or null
char* twWorld_ElementCopyText(int iElement, int iUnits);
// The elements whose name, IFC class, GlobalId or values hold the word, letters of either case
// alike: how many, the first iMax of them into piFound in the model's order
int twWorld_FindElements(const char* pstrWord, int* piFound, int iMax);
// post_load.cpp
int twWorld_PostLoadProcess(TwCamera* pCam, int bVbo);
void twWorld_UpdateHiddenElements(void); // renews what shows, and the groups' hidden flags, from the layers
int twWorld_ElementShown(const TwElement* pElement); // the one answer to whether an element shows
// physics.cpp
int twWorld_CreatePhysBsp(void);
TwBspVolume* twWorld_CreateNewVolume(void);
int twWorld_ClassifyTriangle(const float* pCentre, const float* pSplit, const float* pV0, const float* pV1,
                             const float* pV2); // 1 front, 2 back, 3 both
// visibility.cpp
int twWorld_CreateVisibilityArrays(void);
int twWorld_CreateVisibilityOccluders(void);
// tree.cpp
int twWorld_CreateElementGroupBsp(void);
// element_groups.cpp
int twWorld_CreateElementGroups(void);
int twWorld_CreateElementGroupGeometry(int bVbo);
