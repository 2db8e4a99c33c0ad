// The section tool: the storey cut (X), section planes laid on the face under the cross (K),
// a section box (B), and what the kept element or its class does to the rest: X-ray (V),
// isolate (Shift+V), and classes hidden from the Layers page. Each frame it hands the world
// the planes of the cut. Its state is written as text lines that a kept view carries, naming
// elements by GlobalId or class, never by index, so that views outlive a re-export.
#pragma once
#include <stdint.h>

struct TwCamera;

#define TW_SECTION_PLANES 6          // as many as the cut takes at once
#define TW_SECTION_STOREY_CUT 1.2f   // metres above the floor: the height of a plan's cut
#define TW_SECTION_STEP 0.05f        // metres a wheel notch moves a plane
#define TW_SECTION_STEP_FAST 0.5f    // with Shift
#define TW_SECTION_STATE_SIZE 65536  // bytes of a state's text at most
#define TW_SECTION_ID_SIZE 64        // a GlobalId or a class name
#define TW_SECTION_CLASSES 256       // classes of a model the Layers page lists
#define TW_SECTION_HIDDEN_SIZE 2048  // the hidden classes, tab-joined

// What the wheel moves
#define TW_SECTION_MOVE_NONE -1
#define TW_SECTION_MOVE_STOREY -2
#define TW_SECTION_MOVE_BOX_FACE 100 // + the face: 0 -x, 1 +x, 2 -y, 3 +y, 4 -z, 5 +z

// What the kept element or class does to the rest
#define TW_FOCUS_NONE 0
#define TW_FOCUS_XRAY 1     // the rest is faint glass with its edges
#define TW_FOCUS_ISOLATE 2  // the rest is hidden

// An element seen through the focus and the hidden classes
#define TW_SECTION_HIDDEN 0
#define TW_SECTION_SHOWN 1
#define TW_SECTION_GLASS 2

struct TwSection {
    int32_t bStoreyCut;
    float fStoreyCutY;               // the storey cut's height, world y
    int32_t iNumPlanes;
    float aafPlanes[TW_SECTION_PLANES][4]; // kept where a x + b y + c z + d >= 0
    int32_t bBox;                    // the box stands in for the storey cut and the planes
    float vBoxMin[3], vBoxMax[3];
    int32_t iMove;                   // TW_SECTION_MOVE_*, or a plane's index
    int32_t bCaps;                   // cut solids are filled
    int32_t iFocus;                  // TW_FOCUS_*
    int32_t bFocusClass;             // the focus is every element of a class, not one element
    char szFocus[TW_SECTION_ID_SIZE]; // its GlobalId or class
    char szHidden[TW_SECTION_HIDDEN_SIZE]; // classes hidden, tab-joined
    // the model's classes, for the Layers page: found at each load
    int32_t iNumClasses;
    char aszClasses[TW_SECTION_CLASSES][TW_SECTION_ID_SIZE];
    int32_t bClassesFromTypes;       // no side file: the viewer's element types stand in
    int32_t iDragFace;               // the box's face a held button drags, or -1
    const void* pClassesOf;          // the model and side file the classes were found in
    const void* pClassesInfo;
    int32_t iClassesCount;
};

extern TwSection* pSection;

int twSection_Init(void);
void twSection_Free(void);
void twSection_Update(void);                   // each frame: the planes to the world
void twSection_Clear(void);                    // no cut, no box, no focus; hidden classes stay
int twSection_ToggleStoreyCut(const TwCamera* pCam);
int twSection_StepStorey(const TwCamera* pCam, int iDir); // a storey up (1) or down (-1)
int twSection_AddPlane(const TwCamera* pCam, int iX, int iY); // on the face under the pixel, or across the view
void twSection_Flip(void);                     // the plane the wheel moves
void twSection_Remove(void);                   // that plane, or the box, or the storey cut
void twSection_Wheel(const TwCamera* pCam, int iNotches, int bFast);
int twSection_ToggleBox(const TwCamera* pCam, int iElement); // around the element, else the walker's storey
int twSection_ModelBox(void);                  // around the whole model
void twSection_MoveBoxFace(int iFace, float fMetres); // outward positive
int twSection_StartDrag(const TwCamera* pCam);  // the box's face under the cross, if any, follows the mouse
void twSection_Drag(const TwCamera* pCam, int iDy); // mouse counts: up pulls the face toward the eye
void twSection_EndDrag(void);
int twSection_SetFocus(int iFocus, int iElement, int bClass); // 0 where the element has no name to keep it by
// The model's classes: found from the side file or the element types after a load
void twSection_FindClasses(void);
int twSection_ClassHidden(const char* pstrClass);
void twSection_ToggleClass(int iClass);
const char* twSection_ElementClass(int iElement, char* pstrBuffer, int iSize);
int twSection_ElementState(int iElement);      // TW_SECTION_*
// The state as text, and back; 0 and one line for a damaged text, which changes nothing
int twSection_WriteState(char* pstrOut, int iSize);
int twSection_Active(void); // anything cut, boxed, X-rayed, isolated or hidden by class
int twSection_ReadState(const char* pstrText, int iLength);
