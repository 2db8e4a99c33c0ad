// The frame's drawing: the engine's frame (frame.cpp), the world in render modes 1 to 5
// (world_draw.cpp), the shader programs they run (shaders.cpp) and the visibility sweep
// that decides which groups are drawn (sweep.cpp). A render mode here is its place in the
// full list of six; the engine turns the place in the list on offer into it when it
// applies the setting (iDrawMode).
#pragma once
#include <stdint.h>

struct TwCamera;
struct TwElementGroup;
struct TwList;
struct TwMaterial;
struct TwMesh;

#define TW_MODE_LIT 0         // light maps and vertex light
#define TW_MODE_WHITE 1       // pure white, edges forced on
#define TW_MODE_LAMP_GREY 2   // head lamp in grey
#define TW_MODE_LAMP 3        // head lamp with material colours
#define TW_MODE_SUN 4         // fixed-function sun
#define TW_MODE_PLAIN 5       // plain colours
#define TW_NEAR_GROUP_SQ 36.0f     // a group this near (squared, less its radius) is drawn unseen
#define TW_SOFT_SHADOW_RANGE 256.0f
#define TW_SWEEP_CYCLE 4           // a group seen in the last four sweeps counts as seen

void twWorld_Draw(int bUseVbo, int iMode, int iSceneOption, const TwCamera* pCam, float fSunAzimuth,
                  float fSunAltitude, float fShadow, float fLightLevel, float fLightGain, int bDrawEdges,
                  int bTransparency, int bSoftShadows);
// the lit mode: lightmaps and vertex light times the materials, through the exposure curve
void twWorld_DrawLit(int bUseVbo, int iSceneOption, const TwCamera* pCam, float fSunAzimuth, float fSunAltitude,
                     float fShadow, float fLightLevel, int bDrawEdges, int bTransparency, int bSoftShadows);
void twWorld_SetFixedLighting(int bOn, float fSunAzimuth, float fSunAltitude);
void twWorld_SetMaterial(const TwMaterial* pMaterial, int* piTextured, float fAlpha, int bTextures);
void twWorld_DrawMeshEdges(const TwMesh* pMesh);
int twWorld_GroupSeen(uint32_t uiGroupFrame); // seen in the last four sweeps
// shaders.cpp: the programs are kept in the world's record, by key
int twWorld_InitShaders(void);                          // the vertex programs now, fragment ones at first use
int twWorld_VertexProgramText(int iKey, char* pstrOut); // the text of a key; its length
int twWorld_FragmentProgramText(int iKey, char* pstrOut);
uint32_t twWorld_FragmentProgram(int iKey);             // compiled at its first call; 0 where the driver refused
// sweep.cpp
void twWorld_VisibilitySweep(int bSun, const TwCamera* pCam, float fSkyAngle, int bUseVbo, int bDebugCopy);
void twWorld_DrawSunDisc(const float* pvPos, float fSkyAngle);
void twWorld_DrawGroupIds(void);
void twWorld_DrawFlare(const TwCamera* pCam, int iWidth, int iHeight, float fSkyAngle);
// shadows.cpp: the sun's shadow map, drawn only when the sun moves
int twWorld_InitShadows(void);
void twWorld_UpdateShadowMatrices(const TwCamera* pSunCam);
int twWorld_RenderShadowMap(const TwCamera* pSunCam, int bUseVbo, int bUnused);
int twWorld_ShadowsReady(void);
void twWorld_FreeShadows(void);
// pick.cpp: the element under a window pixel (-1 for none), drawn over the frame (picked
// glazed, tracked outlined) and told in TW_PICK_LINES lines of "label\tvalue": five, up to
// five from the side file, then its sets of values (a set's line has no label)
#define TW_PICK_LINES 48
#define TW_PICK_LINE_SIZE 160
int twWorld_PickElement(const TwCamera* pCam, int iX, int iY);
void twWorld_DrawPicked(int iPicked, int iTracked);
int twWorld_PickedText(int iElement, int iUnits, char aszLines[TW_PICK_LINES][TW_PICK_LINE_SIZE]); // lines, or 0
void twWorld_DrawPickedText(int iElement, int iUnits, int iX, int iY); // the panel below a window point
// The panel's sets: the wheel scrolls them by rows (up is negative); the set shown first folds
// or opens, or with bAll every set; another element starts all open at the top
void twWorld_ScrollInspector(int iRows);
void twWorld_FoldInspector(int bAll);
// The flat face under a window pixel: the picked element's triangle the pixel's ray meets
// first, and every triangle of that element in its plane joined to it corner by corner, so
// a floor's whole polygon with its openings left out (they hold no triangles)
struct TwFace {
    int32_t iElement;
    float vPoint[3];       // where the ray meets it
    float vNormal[3];      // unit, turned to the eye
    float fArea;           // square metres, of every joined triangle
    float* pfTriangles;    // iNumTriangles x 9 floats, owned; at most TW_FACE_DRAWN of them
    int32_t iNumTriangles;
};
#define TW_FACE_DRAWN 65536
int twWorld_FaceUnder(const TwCamera* pCam, int iX, int iY, TwFace* pFace); // 0: none; frees pFace's old triangles
void twWorld_FreeFace(TwFace* pFace);
// world_draw.cpp: what casts a shadow, depth alone; only the groups marked, or all with null
// The cut: clip planes for the fixed pipeline under the modelview loaded now (off: all off);
// whether a box (centre, half size) or a point lies wholly on the cut-away side of a plane
void twWorld_ClipToCut(int bOn);
// caps.cpp: the cut's faces filled where it crosses closed solids, hatched, and outlined;
// after the model is drawn, under its matrices
static const float TW_CAP_COLOUR[3] = {0.55f, 0.16f, 0.12f};
static const float TW_CAP_HATCH_COLOUR[3] = {0.32f, 0.06f, 0.05f};
void twWorld_DrawCaps(void);
void twWorld_DrawGlass(void); // what X-ray shows as glass, over the solid
void twWorld_FreeCaps(void);
int twWorld_ElementIsClosed(int iElement); // every edge met by an even number of its triangles
// A corner on a fine grid, with the index of what it belongs to: sorted by cell, corners that
// share one are found next to each other (welding a solid, joining a flat face)
struct TwGridCorner {
    int32_t aiCell[3];
    int32_t iIndex;
};
void twWorld_GridCorner(const float* pv, float fGrid, int iIndex, TwGridCorner* pOut);
int twWorld_CompareGridCorners(const void* pa, const void* pb); // for qsort: by cell
int twWorld_BoxCutAway(const float* pvCentre, const float* pvHalfSize);
int twWorld_PointCutAway(const float* pv);
void twWorld_DrawDepthOnly(int bUseVbo, const uint8_t* pucGroups);
// The next mesh of a render array that shows, from the list node given on; null at the end.
// The batches hold the same meshes in the same order.
const TwMesh* twWorld_NextShownMesh(TwList** ppNode, const TwElementGroup* pGroup);
// light_draw.cpp: the light job's pictures: the sample view from vSamplePos, and what lies
// near it drawn from a buffer gathered at the job's start and kept until it is freed
void twWorld_SetSampleProjection(void);
void twWorld_LookFromSample(const float* pvDir, const float* pvUp);
int twWorld_GatherSampleGeometry(int bUseVbos); // every shown opaque triangle; 0, logged, out of memory
void twWorld_DrawSampleGeometry(void);          // nothing before a gathering
void twWorld_FreeSampleGeometry(void);
// light_draw.cpp: the light job's ID picture from a camera: surfaces, or smooth meshes alone (ids one up)
void twWorld_DrawLightIds(const TwCamera* pCamera, int bMeshes);
