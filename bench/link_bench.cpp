// The live link: the sample house (IFC) opened through the exporter, then its file touched
// as a CAD program's save would; each round times the change on disk to the new model's
// first frame, and the frames drawn while the exporter ran against the frames before it; then
// the same for the house opened with the samples' structure and services models, of which
// only the house is saved.
//
//   bench_link [rounds]   (needs a display and the built ambexport)
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "engine/engine.h"
#include "engine/model_link.h"
#include "engine/timer.h"
#include "navigation/camera.h"
#include "platform/window.h"
#include "render/render.h"
#include "tools/harness/harness.h"
#include "tools/harness/samples.h"
#include "world/world.h"

#define IDLE_FRAMES 60

// One round of the main loop, as twEngine_Run has it; its seconds
static double Frame(void)
{
    double d = twTimer_Seconds();
    twEngine_Update();
    twWorld_VisibilitySweep(pEngine->bDrawFlare, pCam, 0, pEngine->bUseVbo, 0);
    twEngine_Draw();
    return twTimer_Seconds() - d;
}

// Saves of one file of the open model, each timed from the change on disk to the new model's
// first frame; prints each round and the means
static void Rounds(const char* pstrLabel, const std::string& touched, int iRounds)
{
    double dWorstLatency = 0, dSumLatency = 0, dSumIdle = 0, dSumBusy = 0;
    int iBusyFrames = 0;
    for (int r = 0; r < iRounds; r++) {
        double dIdle = 0;
        for (int i = 0; i < IDLE_FRAMES; i++)
            dIdle += Frame();
        dIdle /= IDLE_FRAMES;
        double dReloads = pLink->dLastReload;
        double dChanged = twTimer_Seconds();
        utimensat(AT_FDCWD, touched.c_str(), nullptr, 0);
        double dBusy = 0;
        int iBusy = 0, iFrames = 0;
        while (pLink->dLastReload == dReloads && iFrames++ < 10000) {
            double d = Frame();
            if (twLink_IsExporting()) {
                dBusy += d;
                iBusy++;
            }
        }
        // the new model is on screen at the end of the next frame
        double dLatency = twTimer_Seconds() - dChanged + Frame();
        dBusy = iBusy ? dBusy / iBusy : 0;
        printf("%s round %d: change to new model on screen %.3f s; frame %.1f ms idle, %.1f ms while exporting "
               "(%d frames, %+.0f%%)\n",
               pstrLabel, r + 1, dLatency, dIdle * 1000, dBusy * 1000, iBusy, dIdle > 0 ? (dBusy / dIdle - 1) * 100 : 0);
        dSumLatency += dLatency;
        dWorstLatency = dLatency > dWorstLatency ? dLatency : dWorstLatency;
        dSumIdle += dIdle;
        dSumBusy += dBusy * iBusy;
        iBusyFrames += iBusy;
    }
    double dIdle = dSumIdle / iRounds, dBusy = iBusyFrames ? dSumBusy / iBusyFrames : 0;
    printf("%s: change to new model on screen: mean %.3f s, worst %.3f s (goal: under 1 s)\n", pstrLabel,
           dSumLatency / iRounds, dWorstLatency);
    printf("%s: frame rate while exporting: %.1f fps against %.1f fps idle, %+.0f%% (goal: within 10%%)\n", pstrLabel,
           dBusy > 0 ? 1 / dBusy : 0, 1 / dIdle, dBusy > 0 ? (dIdle / dBusy - 1) * 100 : 0);
}

// The model of these files opened, and the frames until it is on screen; 1 when it is
static int OpenAndWait(const std::string& files)
{
    if (!twLink_Open(files.c_str(), 0))
        return 0;
    while (twLink_IsExporting())
        Frame();
    return pWorld->bLoaded;
}

int main(int argc, char** argv)
{
    int iRounds = argc > 1 ? atoi(argv[1]) : 5;
    if (!twHarness_StartEngine(1280, 1024, nullptr)) {
        printf("the engine didn't start\n");
        return 1;
    }
    snprintf(pCore->szProgramDir, TW_PATH_SIZE, "%s/", AMB_BUILD_DIR);
    std::string source = twHarness_Dir() + "house.ifc";
    twHarness_WriteText(source, twHarness_ReadFile(TW_SAMPLE_HOUSE));
    pEngine->fTimeRunning = 1;
    pEngine->fTimeInLevel = 1;
    pCam->bWalk = 0; // the walker would fall through the frames
    if (!twLink_Init() || !OpenAndWait(source)) {
        printf("the sample house didn't open: is ambexport built?\n");
        return 1;
    }
    pEngine->fTimeInLevel = 1;
    printf("sample house: %d elements, %d triangles\n", pWorld->iNumElements, pWorld->iNumTris);
    Rounds("house", source, iRounds);
    // the house among the samples' structure and services: a save of the house alone
    std::string samples = std::string(AMB_SOURCE_DIR) + "/../shared/ifc/";
    std::string set = source + "\t" + samples + "Building-Structural.ifc\t" + samples + "Building-Hvac.ifc";
    if (access((samples + "Building-Hvac.ifc").c_str(), R_OK) == 0 && OpenAndWait(set)) {
        printf("house, structure and services: %d elements, %d triangles\n", pWorld->iNumElements, pWorld->iNumTris);
        Rounds("of three", source, iRounds);
    }
    twLink_Free();
    return 0;
}
