#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/timer.h"
#include "engine/vector.h"
#include "navigation/camera.h"
#include "world/tree.h"
#include "world/world.h"

#define TAG "twWorld_PostLoadProcess"
#define TOP_VIEW_PITCH -45.0f
#define TOP_VIEW_YAW 45.0f

static void FinalizeBoundingVolumes(TwCamera* pCam)
{
    TwWorld* w = pWorld;
    w->fRadius = twBox_CentreForm(w->vMin, w->vMax, w->vCentre, w->vHalfSize);
    w->fRadiusSq = w->fRadius * w->fRadius;
    if (pCam) {
        // the lowest point of the model is a floor nobody falls below
        pCam->fGroundY = w->vCentre[1] - w->vHalfSize[1];
        pCam->fOrthoPitch = TOP_VIEW_PITCH;
        pCam->fOrthoYaw = TOP_VIEW_YAW;
        pCam->fOrthoRoll = 0;
        twCamera_DirFromAngles(pCam->fOrthoPitch, pCam->fOrthoYaw, pCam->vOrthoDir);
        memcpy(pCam->vOrthoCentre, w->vCentre, sizeof(w->vCentre));
        memcpy(pCam->vOrthoEye, w->vCentre, sizeof(w->vCentre));
        pCam->fOrthoDepth = pCam->fOrthoHalfWidth = pCam->fOrthoHalfHeight = w->fRadius;
    }
    w->fBuildingRadius = twBox_CentreForm(w->vBuildingMin, w->vBuildingMax, w->vBuildingCentre, w->vBuildingHalfSize);
    w->fBuildingRadiusSq = w->fBuildingRadius * w->fBuildingRadius;
}

// Notes the seconds a step took and starts the next one's clock
static void StepDone(int iStep, double* pdClock)
{
    double dNow = twTimer_Seconds();
    pWorld->afLoadSeconds[iStep] = (float)(dNow - *pdClock);
    *pdClock = dNow;
}

int twWorld_PostLoadProcess(TwCamera* pCam, int bVbo)
{
    TwWorld* w = pWorld;
    double dClock = twTimer_Seconds();
    twLog(TAG, "Finalizing bounding volumes\n");
    FinalizeBoundingVolumes(pCam);
    StepDone(1, &dClock);

    twLog(TAG, "Creating pointer array for all meshes\n");
    uint32_t uiSlots = (uint32_t)w->iNumMeshes + 1;
    w->ppMeshes = (TwMesh**)twMem_Malloc(uiSlots * sizeof(TwMesh*), "pWorld->ppMeshes");
    if (!w->ppMeshes) {
        twLogError(TAG, "!malloc : pWorld->ppMeshes\n");
        return 0;
    }
    w->ppMeshesVisible = (TwMesh**)twMem_Malloc(uiSlots * sizeof(TwMesh*), "pWorld->ppMeshesVisible");
    if (!w->ppMeshesVisible) {
        twLogError(TAG, "!malloc : pWorld->ppMeshesVisible\n");
        return 0;
    }
    w->piMeshesVisible = (int32_t*)twMem_Malloc((uint32_t)w->iNumMeshes * 4, "pWorld->piMeshesVisible");
    if (!w->piMeshesVisible) {
        twLogError(TAG, "!malloc : pWorld->piMeshesVisible\n");
        return 0;
    }
    // a new model shows whole: its layers come in shown
    w->pucElementShown = (uint8_t*)twMem_Malloc((uint32_t)w->iNumElements + 1, "pWorld->pucElementShown");
    if (!w->pucElementShown) {
        twLogError(TAG, "!malloc : pWorld->pucElementShown\n");
        return 0;
    }
    memset(w->pucElementShown, 1, (size_t)w->iNumElements);
    w->pucElementGlass = (uint8_t*)twMem_Malloc((uint32_t)w->iNumElements + 1, "pWorld->pucElementGlass");
    if (!w->pucElementGlass) {
        twLogError(TAG, "!malloc : pWorld->pucElementGlass\n");
        return 0;
    }
    StepDone(2, &dClock);

    twLog(TAG, "Counting materials accessed by meshes\n");
    int iNext = 0;
    for (int e = 0; e < w->iNumElements; e++) {
        TwElement* pElement = &w->pElements[e];
        for (int m = 0; m < pElement->iNumMeshes; m++) {
            TwMesh* pMesh = &pElement->pMeshes[m];
            pMesh->pElement = pElement;
            w->pMaterials[pMesh->iMaterial].iNumUsers++;
            w->ppMeshes[iNext++] = pMesh;
        }
    }
    StepDone(3, &dClock);

    twLog(TAG, "Creating element groups\n");
    if (!twWorld_CreateElementGroups()) {
        twLogError(TAG, "!twWorld_CreateElementGroups\n");
        return 0;
    }
    StepDone(4, &dClock);
    twLog(TAG, "Creating element group geometry\n");
    if (!twWorld_CreateElementGroupGeometry(bVbo)) {
        twLogError(TAG, "!twWorld_CreateElementGroupGeometryn");
        return 0;
    }
    StepDone(5, &dClock);
    twLog(TAG, "Creating visibility arrays\n");
    if (!twWorld_CreateVisibilityArrays()) {
        twLogError(TAG, "!twWorld_CreateVisibilityArrays\n");
        return 0;
    }
    StepDone(6, &dClock);
    twLog(TAG, "Creating visibility occluders\n");
    if (!twWorld_CreateVisibilityOccluders()) {
        twLogError(TAG, "!twWorld_CreateVisibilityOccluders\n");
        return 0;
    }
    StepDone(7, &dClock);
    uint32_t uiGroupSlots = (uint32_t)w->iNumElementGroups + 1;
    twLog(TAG, "Creating item pointer arrays for bsp intersect\n");
    w->ppElementGroupItemsFromTree =
        (TwTreeItem**)twMem_Malloc(uiGroupSlots * TW_TREE_ITEM_BYTES, "ppElementGroupItemsFromTree");
    if (!w->ppElementGroupItemsFromTree) {
        twLogError(TAG, "!malloc : ppElementGroupItemsFromTree\n");
        return 0;
    }
    StepDone(8, &dClock);
    twLog(TAG, "Creating element group pointer arrays\n");
    w->ppElementGroupsInRange =
        (TwElementGroup**)twMem_Malloc(uiGroupSlots * sizeof(TwElementGroup*), "ppElementGroupsInRange");
    if (!w->ppElementGroupsInRange) {
        twLogError(TAG, "!malloc : ppElementGroupsInRange\n");
        return 0;
    }
    StepDone(9, &dClock);
    twLog(TAG, "Creating element group bsp\n");
    if (!twWorld_CreateElementGroupBsp()) {
        twLogError(TAG, "!twWorld_CreateElementGroupBsp\n");
        return 0;
    }
    StepDone(10, &dClock);
    twLog(TAG, "Creating physics bsp\n");
    if (!twWorld_CreatePhysBsp()) {
        twLogError(TAG, "!twWorld_CreatePhysBsp\n");
        return 0;
    }
    StepDone(11, &dClock);
    return 1;
}
