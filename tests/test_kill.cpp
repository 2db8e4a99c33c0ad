// Killed at any moment, nothing lost: a forked child writes one of the user's files (the
// settings, the gallery, the sun's date and place, the light set, a screenshot, a published
// copy) and is killed with SIGKILL at a random moment of the write. After each kill the file
// must be the old one or the new one, whole, and what the next start reads must be that file,
// never what a kill left under a temporary name. The seed is fixed and printed.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "engine/engine.h"
#include "engine/strings.h"
#include "interface/gallery.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "platform/image.h"
#include "tests/support.h"
#include "tools/harness/samples.h"
#include "world/world.h"

enum { KIND_SETTINGS, KIND_GALLERY, KIND_SUN, KIND_LIGHT, KIND_SCREENSHOT, KIND_COPY, NUM_KINDS };
static const char* const s_apstrKinds[NUM_KINDS] = {"settings", "gallery", "sun", "light set", "screenshot",
                                                    "published copy"};
static const char* const s_apstrLight[TW_LIGHT_NUM_FILES] = {"LightInit", "LightSort", "LightEq", "LightS",
                                                             "LightM"};
#define KILLS_PER_KIND 200
#define SHOT_SIDE 256

struct Kill : ::testing::Test {
    static std::string dir, temp;
    static std::string s_shotPixels;
    static void SetUpTestSuite()
    {
        TwExportModel house = twSample_SmallHouse();
        ASSERT_EQ(twHarness_StartEngine(320, 240, &house), 1); // the built program is the master of a copy
        dir = twHarness_Dir();
        temp = dir + "Temp/";
        mkdir((dir + "Screenshots").c_str(), 0755);
    }
    static void TearDownTestSuite() { twEngine_Shutdown(); }

    // The file a kind writes; a screenshot's name is new for each shot
    static std::string Target(int iKind, int iShot)
    {
        switch (iKind) {
        case KIND_SETTINGS: return temp + TW_SETTINGS_FILE;
        case KIND_GALLERY: return temp + TW_GALLERY_FILE;
        case KIND_SUN: return temp + TW_SUN_PLACE_FILE;
        case KIND_LIGHT: return temp + "LightS.bin";
        case KIND_SCREENSHOT: return dir + "Screenshots/shot_" + std::to_string(iShot) + ".bmp";
        default: return dir + "Copy.exe";
        }
    }
    // Version v (0 or 1) of a light file: a few hundred kilobytes, so that the kill has time to land
    static std::string LightBytes(int iFile, int v)
    {
        return std::string((size_t)(100000 + 50000 * iFile + 7 * v), (char)('a' + iFile + 8 * v));
    }
    static std::string LightSet(void)
    {
        std::string all;
        for (const char* pstrName : s_apstrLight)
            all += twHarness_ReadFile(temp + pstrName + ".bin") + "|";
        return all;
    }
    static std::string ExpectedLightSet(int v)
    {
        std::string all;
        for (int i = 0; i < TW_LIGHT_NUM_FILES; i++)
            all += LightBytes(i, v) + "|";
        return all;
    }

    // What the child does: puts version v in memory and writes the kind's file as the viewer does
    static int Write(int iKind, int v, int iShot)
    {
        pCam->fFov = v ? 70.0f : 60.0f;
        pEngine->sunPlace.iYear = 2000 + v;
        switch (iKind) {
        case KIND_SETTINGS: return twEngine_LoadSaveSettings(nullptr, 1);
        case KIND_COPY: return twEngine_LoadSaveSettings(nullptr, 1) && twEngine_Save(0, Target(iKind, iShot).c_str());
        case KIND_GALLERY: {
            twGallery_Free();
            TwNavpoint nav;
            twGallery_NavpointFromCamera(pCam, 0, 45, &nav);
            return twGallery_AddAngle(v ? "New" : "Old", &nav) && twEngine_SaveGallery();
        }
        case KIND_SUN: return twEngine_LoadSaveSunPlace(nullptr, 0, 1);
        case KIND_LIGHT:
            for (int i = 0; i < TW_LIGHT_NUM_FILES; i++) {
                TwWriter writer;
                std::string bytes = LightBytes(i, v);
                if (!twWorld_CreateLightFile(&writer, s_apstrLight[i], "Kill") ||
                    !twWriter_Write(&writer, bytes.data(), (int64_t)bytes.size()) || !twWriter_Finish(&writer))
                    return 0;
            }
            return twWorld_CommitLightSet(0x1F, 0);
        case KIND_SCREENSHOT:
            return twBmp_Write(Target(iKind, iShot).c_str(), SHOT_SIDE, SHOT_SIDE, 3,
                               (const uint8_t*)s_shotPixels.data());
        default: return 0;
        }
    }

    // Forks the writer and, once it starts writing, kills it after the given microseconds
    // (negative: lets it finish). The microseconds the write took, as the child measured it.
    static int64_t RunChild(int iKind, int v, int iShot, int64_t iKillAfter)
    {
        int aiPipe[2];
        if (pipe(aiPipe) != 0)
            return 0;
        pid_t pid = fork();
        if (pid == 0) {
            // no exit handlers: the parent's state is its own
            struct timespec t0, t1;
            clock_gettime(CLOCK_MONOTONIC, &t0);
            int bOk = write(aiPipe[1], "s", 1) == 1 && Write(iKind, v, iShot);
            clock_gettime(CLOCK_MONOTONIC, &t1);
            int64_t iTook = (int64_t)(t1.tv_sec - t0.tv_sec) * 1000000 + (t1.tv_nsec - t0.tv_nsec) / 1000;
            bOk = write(aiPipe[1], &iTook, sizeof(iTook)) == sizeof(iTook) && bOk;
            _exit(bOk ? 0 : 1);
        }
        close(aiPipe[1]);
        char cStarted = 0;
        int64_t iTook = 0;
        EXPECT_EQ(read(aiPipe[0], &cStarted, 1), 1);
        if (iKillAfter >= 0) {
            struct timespec wait = {(time_t)(iKillAfter / 1000000), (long)(iKillAfter % 1000000) * 1000};
            nanosleep(&wait, nullptr);
            kill(pid, SIGKILL);
        } else {
            EXPECT_EQ(read(aiPipe[0], &iTook, sizeof(iTook)), (ssize_t)sizeof(iTook));
        }
        close(aiPipe[0]);
        int iStatus = 0;
        waitpid(pid, &iStatus, 0);
        EXPECT_TRUE(iKillAfter >= 0 || (WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 0)) << s_apstrKinds[iKind];
        return iTook;
    }

    // The file as it lies; the light set as the next start settles it, a commit the kill broke
    // off finished
    static std::string Found(int iKind, int iShot)
    {
        if (iKind != KIND_LIGHT)
            return twHarness_ReadFile(Target(iKind, iShot));
        twWorld_SettleLightSet();
        return LightSet();
    }

    // What the next start makes of the file on disk: 1 when it reads the version the file holds
    static int NextStartReads(int iKind, int v)
    {
        switch (iKind) {
        case KIND_SETTINGS:
            pCam->fFov = 0;
            return twEngine_LoadSaveSettings(nullptr, 0) && pCam->fFov == (v ? 70.0f : 60.0f);
        case KIND_SUN:
            pEngine->sunPlace.iYear = 0;
            return twEngine_LoadSaveSunPlace(nullptr, 0, 0) && pEngine->sunPlace.iYear == 2000 + v;
        case KIND_GALLERY: {
            FILE* pFile = fopen(Target(iKind, 0).c_str(), "rb");
            twGallery_Free();
            int bOk = pFile && twGallery_Load(pFile, -1) && twGallery_GetNumItems() == 1;
            if (pFile)
                fclose(pFile);
            return bOk;
        }
        case KIND_LIGHT: return twWorld_SettleLightSet() && LightSet() == ExpectedLightSet(v);
        case KIND_COPY: {
            int iSize = 0;
            FILE* pFile = twCore_GetResourceExt(TW_SETTINGS_FILE, Target(iKind, 0).c_str(), &iSize);
            if (pFile)
                fclose(pFile);
            return pFile != nullptr;
        }
        default: return 1;
        }
    }
};
std::string Kill::dir, Kill::temp, Kill::s_shotPixels;

TEST_F(Kill, EveryUserFileIsTheOldOrTheNewOneWhole)
{
    unsigned uiSeed = 20261124;
    printf("seed %u, %d kills per kind\n", uiSeed, KILLS_PER_KIND);
    srand(uiSeed);
    s_shotPixels.resize((size_t)SHOT_SIDE * SHOT_SIDE * 3);
    for (size_t i = 0; i < s_shotPixels.size(); i++)
        s_shotPixels[i] = (char)rand();
    for (int iKind = 0; iKind < NUM_KINDS; iKind++) {
        // both versions written whole, and the time a write takes
        std::string versions[2];
        int64_t iLongest = 0;
        for (int v = 0; v < 2; v++) {
            int64_t iTook = RunChild(iKind, v, -1 - v, -1);
            iLongest = iTook > iLongest ? iTook : iLongest;
            versions[v] = Found(iKind, -1 - v);
            ASSERT_FALSE(versions[v].empty()) << s_apstrKinds[iKind];
        }
        if (iKind != KIND_SCREENSHOT) {
            ASSERT_NE(versions[0], versions[1]) << s_apstrKinds[iKind];
        }
        int iOnDisk = 1, aiLanded[2] = {0, 0};
        for (int n = 0; n < KILLS_PER_KIND; n++) {
            int v = 1 - iOnDisk;
            // anywhere in the write, and a little after it would end
            int64_t iKillAfter = (int64_t)((double)rand() / RAND_MAX * (double)iLongest * 1.3);
            RunChild(iKind, v, n, iKillAfter);
            std::string found = Found(iKind, n);
            int iFound = found == versions[v] ? v : found == versions[iOnDisk] ? iOnDisk : -1;
            if (iKind == KIND_SCREENSHOT) {
                // a new name: either no picture or the whole one
                struct stat st;
                iFound = found == versions[0] ? v : stat(Target(iKind, n).c_str(), &st) != 0 ? iOnDisk : -1;
            }
            ASSERT_NE(iFound, -1) << s_apstrKinds[iKind] << ": kill " << n << " after " << iKillAfter
                                  << " us left a file that is neither version";
            ASSERT_TRUE(NextStartReads(iKind, iFound))
                << s_apstrKinds[iKind] << ": kill " << n << " after " << iKillAfter << " us";
            aiLanded[iFound == v]++;
            if (iKind != KIND_SCREENSHOT)
                iOnDisk = iFound;
        }
        printf("%-15s a write takes %6lld us; %3d kills left the old file, %3d the new one\n", s_apstrKinds[iKind],
               (long long)iLongest, aiLanded[0], aiLanded[1]);
    }
}
