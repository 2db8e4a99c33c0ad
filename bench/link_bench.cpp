// The live link: the sample house (IFC) opened through the exporter, then its file touched
// as a CAD program's save would; each round times the change on disk to the new model's
// first frame, and the frames drawn while the exporter ran against the frames before it.
//
//   bench_link [rounds]   (needs a display and the built ambexport)
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

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
    if (!twLink_Init() || !twLink_Open(source.c_str(), 0)) {
        printf("the exporter didn't start: is ambexport built?\n");
        return 1;
    }
    pEngine->fTimeRunning = 1;
    pEngine->fTimeInLevel = 1;
    pCam->bWalk = 0; // the walker would fall through the frames
    while (twLink_IsExporting())
        Frame();
    if (!pWorld->bLoaded) {
        printf("the sample house didn't open\n");
        return 1;
    }
    pEngine->fTimeInLevel = 1;
    printf("sample house: %d elements, %d triangles\n", pWorld->iNumElements, pWorld->iNumTris);
    double dWorstLatency = 0, dSumLatency = 0, dSumIdle = 0, dSumBusy = 0;
    int iBusyFrames = 0;
    for (int r = 0; r < iRounds; r++) {
        double dIdle = 0;
        for (int i = 0; i < IDLE_FRAMES; i++)
            dIdle += Frame();
        dIdle /= IDLE_FRAMES;
        double dReloads = pLink->dLastReload;
        double dChanged = twTimer_Seconds();
        utimensat(AT_FDCWD, source.c_str(), nullptr, 0);
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
        printf("round %d: change to new model on screen %.3f s; frame %.1f ms idle, %.1f ms while exporting "
               "(%d frames, %+.0f%%)\n",
               r + 1, dLatency, dIdle * 1000, dBusy * 1000, iBusy, dIdle > 0 ? (dBusy / dIdle - 1) * 100 : 0);
        dSumLatency += dLatency;
        dWorstLatency = dLatency > dWorstLatency ? dLatency : dWorstLatency;
        dSumIdle += dIdle;
        dSumBusy += dBusy * iBusy;
        iBusyFrames += iBusy;
    }
    double dIdle = dSumIdle / iRounds, dBusy = iBusyFrames ? dSumBusy / iBusyFrames : 0;
    printf("change to new model on screen: mean %.3f s, worst %.3f s (goal: under 1 s)\n", dSumLatency / iRounds,
           dWorstLatency);
    printf("frame rate while exporting: %.1f fps against %.1f fps idle, %+.0f%% (goal: within 10%%)\n",
           dBusy > 0 ? 1 / dBusy : 0, 1 / dIdle, dBusy > 0 ? (dIdle / dBusy - 1) * 100 : 0);
    twLink_Free();
    return 0;
}
