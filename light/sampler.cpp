// The light job's pictures and the ways their means come back. Each sample is drawn into a
// tile of one target; the mean of the tile's green bytes is the sample's light. A tile
// follows from the luxel or vertex alone, so that every way draws every picture at the same
// place and a job broken off and resumed draws it where an unbroken one would. The ways
// differ only in how the means come back: one picture at a time, a row of tiles at once, the
// whole target while the next is drawn, or each tile reduced on the card to a few bytes. The
// first three give the same bytes; the fourth stays within 1 of them. Which is fastest is the
// driver's affair: a job times them on its first samples and keeps the fastest.
#include <GL/glew.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "engine/log.h"
#include "engine/memory.h"
#include "engine/timer.h"
#include "light/light.h"
#include "platform/ogl.h"
#include "render/render.h"

#define SAMPLER_TAG "twWorld_LightWorld"
#define TARGET_SIZE 512   // pixels: side of the target the pictures are drawn into
#define TARGET_TILES 64   // tiles in use: a sample's tile is its item modulo this
#define BATCHED_TILES 8   // tiles a batched read-back takes: more make a software renderer's scenes dearer
#define TRIAL_SLICE 192   // samples a way takes in one turn of the trial
#define TRIAL_TURNS 2     // turns each way takes, taken in alternation so that no way gets only easy samples
#define CARD_MARGIN 0.9f  // the card's reduction, which may differ by 1, must be this much cheaper to be taken


// Tiles drawn since the last clear, whose means come back together
struct Round {
    int iPath;
    int iFirst, iNumTiles;           // tiles iFirst on, in order
    int iEnd;                        // the tile after the last this round may take
    uint32_t hPbo;                   // where its read-back lands, for the ways that don't wait
    uint8_t* apucOut[TARGET_TILES];  // by tile: where each mean goes
};

static Round s_open;                 // the round being drawn, when s_bOpen
static int s_bOpen;
static Round s_aInFlight[TW_SAMPLE_ROUNDS_IN_FLIGHT]; // read-backs under way, oldest first from s_iOldest
static int s_iOldest, s_iNumInFlight;
static uint32_t s_uiTaken, s_uiIn;   // samples drawn, and those whose means have been stored
static uint32_t s_uiLostFrom = UINT32_MAX;      // the first sample whose mean never came back; UINT32_MAX for none
static int s_iPath;

// the trial of the ways at a job's start
static int s_bTrial, s_iTrialDone, s_iNumCandidates;
static int s_aiCandidates[TW_SAMPLE_NUM_PATHS];
static double s_dSliceStart, s_dPausedAt;
static double s_adCost[TW_SAMPLE_NUM_PATHS];
static int s_aiCostSamples[TW_SAMPLE_NUM_PATHS];

const char* twWorld_SamplePathName(int iPath)
{
    static const char* const apstrPaths[TW_SAMPLE_NUM_PATHS] = {"one by one", "batched", "in flight", "on the card"};
    return iPath >= 0 && iPath < TW_SAMPLE_NUM_PATHS ? apstrPaths[iPath] : "chosen";
}

static int SampleSize(void)
{
    return pWorld->bSampleHi ? pWorld->iSamplerSizeHi : pWorld->iSamplerSizeLo;
}

static int TilesAcross(void)
{
    return pWorld->pSamplerFbo ? TARGET_SIZE / SampleSize() : 1;
}

static int TileOf(int iItem)
{
    return pWorld->pSamplerFbo ? iItem % TARGET_TILES : 0;
}

static void TileCorner(int iTile, int* piX, int* piY)
{
    int iSize = SampleSize(), iAcross = TilesAcross();
    *piX = (iTile % iAcross) * iSize;
    *piY = (iTile / iAcross) * iSize;
}

static int RoundTiles(int iPath)
{
    return iPath == TW_SAMPLE_ONE_BY_ONE ? 1 : (iPath == TW_SAMPLE_BATCHED ? BATCHED_TILES : TARGET_TILES);
}

// The rectangle of a round's tiles: its part of one row, or the whole rows it spans
static void RoundRect(const Round* pRound, int iLast, int* piRect)
{
    int iSize = SampleSize(), x0, y0, x1, y1;
    TileCorner(pRound->iFirst, &x0, &y0);
    TileCorner(iLast, &x1, &y1);
    if (y0 != y1) {
        x0 = 0;
        x1 = (TilesAcross() - 1) * iSize;
    }
    piRect[0] = x0;
    piRect[1] = y0;
    piRect[2] = x1 + iSize - x0;
    piRect[3] = y1 + iSize - y0;
}

// A mean of 0 to 1 as a byte: kept to 0 to 255 and truncated
static uint8_t MeanByte(float fMean)
{
    float f = fMean * 255.0f;
    return (uint8_t)(f < 0 ? 0 : (f > 255 ? 255 : f));
}

// The mean of the green bytes of a picture: summed as a float, over the pixels and 255
static uint8_t MeanGreen(const uint8_t* pucRgba, int iRowPixels, int iSize)
{
    float fSum = 0;
    for (int y = 0; y < iSize; y++) {
        const uint8_t* p = pucRgba + (size_t)y * iRowPixels * 4 + 1;
        for (int x = 0; x < iSize; x++)
            fSum += p[x * 4];
    }
    return MeanByte(fSum / (float)(iSize * iSize * 255));
}

// The means of a round from its read-back: RGBA rows of its rectangle, or for the card's
// reduction one float a tile, the green of the mipmap level where a tile is a texel
static void StoreMeans(const Round* pRound, const void* pPixels)
{
    int iLast = pRound->iFirst + pRound->iNumTiles - 1, aiRect[4], iSize = SampleSize();
    RoundRect(pRound, iLast, aiRect);
    for (int t = pRound->iFirst; t <= iLast; t++) {
        int x, y;
        TileCorner(t, &x, &y);
        uint8_t ucMean;
        if (pRound->iPath == TW_SAMPLE_ON_CARD) {
            // the level's texels lie as the tiles do, a row of the target's tiles a row
            ucMean = MeanByte(((const float*)pPixels)[t]);
        } else {
            size_t uiAt = ((size_t)(y - aiRect[1]) * aiRect[2] + x - aiRect[0]) * 4;
            const uint8_t* pucTile = (const uint8_t*)pPixels + uiAt;
            ucMean = MeanGreen(pucTile, aiRect[2], iSize);
        }
        if (pRound->apucOut[t])
            *pRound->apucOut[t] = ucMean;
    }
}

// The target's rectangle copied as floats, its mipmaps made, and the level where a tile is
// one texel sent to a pixel buffer: the tiles' means reduced on the card. Floats keep the
// mean of the bytes as it is; eight-bit levels would round it six times.
void twWorld_ReduceSampleOnGpu(const int* piRect, uint32_t hPbo)
{
    int iLevel = 0;
    while ((1 << iLevel) < SampleSize())
        iLevel++;
    glBindTexture(GL_TEXTURE_2D, pWorld->hSamplerReduceTex);
    glCopyTexSubImage2D(GL_TEXTURE_2D, 0, piRect[0], piRect[1], piRect[0], piRect[1], piRect[2], piRect[3]);
    glGenerateMipmapEXT(GL_TEXTURE_2D);
    glBindBufferARB(GL_PIXEL_PACK_BUFFER_ARB, hPbo);
    glGetTexImage(GL_TEXTURE_2D, iLevel, GL_GREEN, GL_FLOAT, nullptr);
    glBindBufferARB(GL_PIXEL_PACK_BUFFER_ARB, 0);
    glBindTexture(GL_TEXTURE_2D, 0);
}

// A round whose means never came back: nothing from its first sample on counts as in, so
// what it belongs to stays unlit, and the job stops at its next sample
static void LoseRound(const Round* pRound, const char* pstrCallee)
{
    if (s_uiLostFrom == UINT32_MAX)
        twLogError(SAMPLER_TAG, "!%s : %d samples lost, the job stops\n", pstrCallee, pRound->iNumTiles);
    if (s_uiIn < s_uiLostFrom)
        s_uiLostFrom = s_uiIn;
}

static void CompleteOldest(void)
{
    Round* pRound = &s_aInFlight[s_iOldest];
    glBindBufferARB(GL_PIXEL_PACK_BUFFER_ARB, pRound->hPbo);
    const void* pPixels = glMapBufferARB(GL_PIXEL_PACK_BUFFER_ARB, GL_READ_ONLY_ARB);
    if (pPixels) {
        StoreMeans(pRound, pPixels);
        glUnmapBufferARB(GL_PIXEL_PACK_BUFFER_ARB);
    } else {
        LoseRound(pRound, "glMapBufferARB");
    }
    glBindBufferARB(GL_PIXEL_PACK_BUFFER_ARB, 0);
    s_uiIn += (uint32_t)pRound->iNumTiles;
    s_iOldest = (s_iOldest + 1) % TW_SAMPLE_ROUNDS_IN_FLIGHT;
    s_iNumInFlight--;
}

// The open round's means: read back at once, or set under way
static void CloseRound(void)
{
    if (!s_bOpen)
        return;
    s_bOpen = 0;
    int aiRect[4];
    RoundRect(&s_open, s_open.iFirst + s_open.iNumTiles - 1, aiRect);
    if (s_open.iPath == TW_SAMPLE_ONE_BY_ONE || s_open.iPath == TW_SAMPLE_BATCHED) {
        size_t uiBytes = (size_t)aiRect[2] * aiRect[3] * 4;
        uint8_t* pucPixels = SampleSize() == pWorld->iSamplerSizeHi ? pWorld->pSampleDataHi : pWorld->pSampleDataLo;
        if (uiBytes > (size_t)SampleSize() * SampleSize() * 4)
            pucPixels = uiBytes <= TW_TEMP_BUFFER_SIZE ? (uint8_t*)twMem_GetTempBuffer((int)uiBytes, 0) : nullptr;
        if (pucPixels) {
            glReadPixels(aiRect[0], aiRect[1], aiRect[2], aiRect[3], GL_RGBA, GL_UNSIGNED_BYTE, pucPixels);
            StoreMeans(&s_open, pucPixels);
        } else {
            LoseRound(&s_open, "twMem_GetTempBuffer");
        }
        s_uiIn += (uint32_t)s_open.iNumTiles;
        return;
    }
    if (s_iNumInFlight == TW_SAMPLE_ROUNDS_IN_FLIGHT)
        CompleteOldest();
    int iSlot = (s_iOldest + s_iNumInFlight) % TW_SAMPLE_ROUNDS_IN_FLIGHT;
    s_aInFlight[iSlot] = s_open;
    s_aInFlight[iSlot].hPbo = pWorld->ahSamplerPbos[iSlot];
    s_iNumInFlight++;
    if (s_open.iPath == TW_SAMPLE_ON_CARD) {
        twWorld_ReduceSampleOnGpu(aiRect, s_aInFlight[iSlot].hPbo);
        return;
    }
    glBindBufferARB(GL_PIXEL_PACK_BUFFER_ARB, s_aInFlight[iSlot].hPbo);
    glReadPixels(aiRect[0], aiRect[1], aiRect[2], aiRect[3], GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glBindBufferARB(GL_PIXEL_PACK_BUFFER_ARB, 0);
}

uint32_t twWorld_CollectSamples(void)
{
    CloseRound();
    while (s_iNumInFlight)
        CompleteOldest();
    return s_uiIn;
}

uint32_t twWorld_SamplesIn(void)
{
    return s_uiIn < s_uiLostFrom ? s_uiIn : s_uiLostFrom;
}

int twWorld_SamplesLost(void)
{
    return s_uiLostFrom != UINT32_MAX;
}

uint32_t twWorld_SamplesTaken(void)
{
    return s_uiTaken;
}

// A new round from a tile on, to the end of its block of the round's size: its tiles cleared
// to open space by one clear, before anything is drawn into them
static void OpenRound(int iTile)
{
    int iRound = RoundTiles(s_iPath);
    s_open.iPath = s_iPath;
    s_open.iFirst = iTile;
    s_open.iNumTiles = 0;
    s_open.iEnd = pWorld->pSamplerFbo ? (iTile / iRound + 1) * iRound : iTile + 1;
    memset(s_open.apucOut, 0, sizeof(s_open.apucOut));
    s_bOpen = 1;
    int aiRect[4];
    RoundRect(&s_open, s_open.iEnd - 1, aiRect);
    glScissor(aiRect[0], aiRect[1], aiRect[2], aiRect[3]);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

static int PathWorks(int iPath)
{
    const TwWorld* w = pWorld;
    int bTarget = w->pSamplerFbo != nullptr, bPbos = bTarget && w->ahSamplerPbos[0];
    return iPath == TW_SAMPLE_ONE_BY_ONE || (iPath == TW_SAMPLE_BATCHED && bTarget) ||
           (iPath == TW_SAMPLE_IN_FLIGHT && bPbos) || (iPath == TW_SAMPLE_ON_CARD && bPbos && w->hSamplerReduceTex);
}

static void SetPath(int iPath)
{
    CloseRound();
    s_iPath = iPath;
    pWorld->bGpuReduce = iPath == TW_SAMPLE_ON_CARD;
    pWorld->iSamplePathTaken = iPath;
}

// The float copy of the target with room for its mipmaps; 0 where the driver has no float
// textures or can't make their mipmaps
static uint32_t MakeReduceTexture(void)
{
    if (!GLEW_ARB_texture_float || !glGenerateMipmapEXT)
        return 0;
    while (glGetError() != GL_NO_ERROR) {
    }
    uint32_t hTexture = 0;
    glGenTextures(1, &hTexture);
    glBindTexture(GL_TEXTURE_2D, hTexture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST_MIPMAP_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F_ARB, TARGET_SIZE, TARGET_SIZE, 0, GL_RGBA, GL_FLOAT, nullptr);
    glGenerateMipmapEXT(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, 0);
    if (glGetError() != GL_NO_ERROR) {
        twLog(SAMPLER_TAG, "No float target for the card's reduction: the means are read back\n");
        glDeleteTextures(1, &hTexture);
        return 0;
    }
    return hTexture;
}

// The target, its read-back buffers and its float copy, made on first need and kept for
// every model; without frame buffers the pictures go to the window's own, one at a time
static void MakeSamplerTarget(void)
{
    TwWorld* w = pWorld;
    if (w->pSamplerFbo || !twOgl_HasFbo())
        return;
    w->pSamplerFbo = twOgl_CreateFbo("pSamplerFbo", TARGET_SIZE, TARGET_SIZE, 1, 0);
    if (!w->pSamplerFbo || !GLEW_ARB_pixel_buffer_object)
        return;
    // the ways that don't wait need every buffer: without them the means are read back at once
    while (glGetError() != GL_NO_ERROR) {
    }
    glGenBuffersARB(TW_SAMPLE_ROUNDS_IN_FLIGHT, w->ahSamplerPbos);
    for (int i = 0; i < TW_SAMPLE_ROUNDS_IN_FLIGHT; i++) {
        glBindBufferARB(GL_PIXEL_PACK_BUFFER_ARB, w->ahSamplerPbos[i]);
        glBufferDataARB(GL_PIXEL_PACK_BUFFER_ARB, TARGET_SIZE * TARGET_SIZE * 4, nullptr, GL_STREAM_READ_ARB);
    }
    glBindBufferARB(GL_PIXEL_PACK_BUFFER_ARB, 0);
    if (!w->ahSamplerPbos[0] || glGetError() != GL_NO_ERROR) {
        twLogError(SAMPLER_TAG, "!glBufferDataARB : no pixel buffers, the means are read back at once\n");
        glDeleteBuffersARB(TW_SAMPLE_ROUNDS_IN_FLIGHT, w->ahSamplerPbos);
        memset(w->ahSamplerPbos, 0, sizeof(w->ahSamplerPbos));
        return;
    }
    w->hSamplerReduceTex = MakeReduceTexture();
}

void twWorld_FreeSampler(void)
{
    TwWorld* w = pWorld;
    if (w->pSamplerFbo)
        twOgl_FreeFbo(w->pSamplerFbo);
    w->pSamplerFbo = nullptr;
    if (w->ahSamplerPbos[0])
        glDeleteBuffersARB(TW_SAMPLE_ROUNDS_IN_FLIGHT, w->ahSamplerPbos);
    memset(w->ahSamplerPbos, 0, sizeof(w->ahSamplerPbos));
    if (w->hSamplerReduceTex)
        glDeleteTextures(1, &w->hSamplerReduceTex);
    w->hSamplerReduceTex = 0;
}

// The job's GL state: the sample target, its programs, the sample view's projection, and the
// constants of the sampler's programs that a frame drawn between two samples changes
void twWorld_BeginSampling(void)
{
    TwWorld* w = pWorld;
    MakeSamplerTarget();
    if (w->pSamplerFbo)
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, w->pSamplerFbo->hFbo);
    glClearColor(0, 1, 0, 0);
    glEnable(GL_SCISSOR_TEST);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glDisable(GL_BLEND);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_POLYGON_OFFSET_FILL);
    glDisable(GL_ALPHA_TEST);
    glEnable(GL_VERTEX_PROGRAM_ARB);
    glBindProgramARB(GL_VERTEX_PROGRAM_ARB, w->hVpSampler);
    glEnable(GL_FRAGMENT_PROGRAM_ARB);
    glBindProgramARB(GL_FRAGMENT_PROGRAM_ARB, w->hFpSampler);
    w->iCurrentVp = w->iCurrentFp = -1;
    glProgramEnvParameter4fARB(GL_FRAGMENT_PROGRAM_ARB, 9, 0, 1, 0, 1);
    glMatrixMode(GL_MATRIX0_ARB);
    glLoadIdentity();
    twWorld_SetSampleProjection();
    glColor4f(1, 1, 1, 0);
    // a redraw in the middle of the trial is no way's cost
    if (s_bTrial && s_dPausedAt > 0)
        s_dSliceStart += twTimer_Seconds() - s_dPausedAt;
    s_dPausedAt = 0;
}

void twWorld_EndSampling(void)
{
    CloseRound();
    glDisable(GL_VERTEX_PROGRAM_ARB);
    glDisable(GL_FRAGMENT_PROGRAM_ARB);
    glDisable(GL_SCISSOR_TEST);
    if (pWorld->pSamplerFbo)
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    s_dPausedAt = s_bTrial ? twTimer_Seconds() : 0;
}

// The path a job takes: the one asked for, or the fastest of a trial on its first samples
// when it has enough of them to pay for one
void twWorld_StartSamplePaths(int iSamplesLeft)
{
    TwWorld* w = pWorld;
    s_bOpen = 0;
    s_iOldest = s_iNumInFlight = 0;
    s_uiTaken = s_uiIn = 0;
    s_uiLostFrom = UINT32_MAX;
    s_bTrial = s_iTrialDone = s_iNumCandidates = 0;
    s_dPausedAt = 0;
    memset(s_adCost, 0, sizeof(s_adCost));
    memset(s_aiCostSamples, 0, sizeof(s_aiCostSamples));
    memset(w->afSamplePathCost, 0, sizeof(w->afSamplePathCost));
    int iWanted = w->iSamplePath;
#ifdef AMB_TEST_HOOKS
    const char* pstrForced = getenv("AMB_LIGHT_PATH");
    if (pstrForced && *pstrForced)
        iWanted = atoi(pstrForced);
#endif
    int iDefault = PathWorks(TW_SAMPLE_BATCHED) ? TW_SAMPLE_BATCHED : TW_SAMPLE_ONE_BY_ONE;
    if (iWanted >= 0 && iWanted < TW_SAMPLE_NUM_PATHS) {
        if (!PathWorks(iWanted))
            twLog(SAMPLER_TAG, "Sample path %s doesn't work here: %s taken\n", twWorld_SamplePathName(iWanted),
                  twWorld_SamplePathName(iDefault));
        SetPath(PathWorks(iWanted) ? iWanted : iDefault);
        return;
    }
    for (int p = 0; p < TW_SAMPLE_NUM_PATHS; p++)
        if (PathWorks(p))
            s_aiCandidates[s_iNumCandidates++] = p;
    // the trial's samples are the job's own: they cost only what the slower ways lose
    s_bTrial = s_iNumCandidates > 1 && iSamplesLeft >= 2 * s_iNumCandidates * TRIAL_SLICE * TRIAL_TURNS;
    SetPath(iDefault);
}

static void EndTrial(void)
{
    TwWorld* w = pWorld;
    int iBest = -1;
    char szFigures[160] = "";
    for (int p = 0; p < TW_SAMPLE_NUM_PATHS; p++) {
        char szOne[48];
        if (!s_aiCostSamples[p]) {
            snprintf(szOne, sizeof(szOne), "%s%s -", p ? ", " : "", twWorld_SamplePathName(p));
        } else {
            w->afSamplePathCost[p] = (float)(s_adCost[p] / s_aiCostSamples[p]);
            snprintf(szOne, sizeof(szOne), "%s%s %.0f", p ? ", " : "", twWorld_SamplePathName(p),
                     w->afSamplePathCost[p] * 1e6f);
            if (p != TW_SAMPLE_ON_CARD && (iBest < 0 || w->afSamplePathCost[p] < w->afSamplePathCost[iBest]))
                iBest = p;
        }
        strncat(szFigures, szOne, sizeof(szFigures) - strlen(szFigures) - 1);
    }
    float fCard = w->afSamplePathCost[TW_SAMPLE_ON_CARD];
    if (fCard > 0 && (iBest < 0 || fCard < CARD_MARGIN * w->afSamplePathCost[iBest]))
        iBest = TW_SAMPLE_ON_CARD;
    twLog(SAMPLER_TAG, "Sample paths, microseconds a sample: %s; taking %s\n", szFigures,
          twWorld_SamplePathName(iBest));
    s_bTrial = 0;
    SetPath(iBest);
}

// At each turn of the trial: the last turn's way charged with its time, all its means in
static void TrialStep(void)
{
    if (s_iTrialDone % TRIAL_SLICE == 0) {
        if (s_iTrialDone > 0) {
            twWorld_CollectSamples();
            s_adCost[s_iPath] += twTimer_Seconds() - s_dSliceStart;
            s_aiCostSamples[s_iPath] += TRIAL_SLICE;
        }
        if (s_iTrialDone == s_iNumCandidates * TRIAL_SLICE * TRIAL_TURNS) {
            EndTrial();
            return;
        }
        SetPath(s_aiCandidates[(s_iTrialDone / TRIAL_SLICE) % s_iNumCandidates]);
        s_dSliceStart = twTimer_Seconds();
    }
    s_iTrialDone++;
}

void twWorld_TakeSample(const float* pvDir, const float* pvUp, int iItem, uint8_t* pucOut)
{
    if (s_bTrial)
        TrialStep();
    int iTile = TileOf(iItem);
    // the tiles fill in order: any other tile means the round is read back first
    if (s_bOpen && (iTile != s_open.iFirst + s_open.iNumTiles || iTile >= s_open.iEnd))
        CloseRound();
    if (!s_bOpen)
        OpenRound(iTile);
    int iSize = SampleSize(), x, y;
    TileCorner(iTile, &x, &y);
    glViewport(x, y, iSize, iSize);
    glScissor(x, y, iSize, iSize);
    twWorld_LookFromSample(pvDir, pvUp);
    twWorld_DrawSampleGeometry();
    s_open.apucOut[iTile] = pucOut;
    s_open.iNumTiles++;
    s_uiTaken++;
    if (iTile + 1 == s_open.iEnd)
        CloseRound();
}
