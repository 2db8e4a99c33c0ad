// The IFC reader: the IFC engine (web-ifc, run by Node as a child process) streams each
// element's triangles, colours and placements; here they become the neutral scene's
// elements, materials and layers, and every geometry decision is taken. The stream is read
// as it comes, through a reader that trusts none of its counts.
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <math.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <map>
#include <vector>

#include "tools/export/export.h"

#define STREAM_MAGIC "AIFC"
#define STREAM_VERSION 1u
#define MAX_RECORD_BYTES (1024u << 20) // one element's geometry; the engine holds less than 4 GB in all
#define MAX_ELEMENTS 10000000u
#define PART_FIXED_BYTES (16 + 128 + 8) // colour, placement, counts
#define FAR_FROM_ORIGIN 1000.0         // metres: a model further off is moved near the origin
#define OFFSET_STEP 1000.0             // the move, in whole kilometres
#define HEADER_BYTES 16384             // where an IFC file's header must name itself
#define READ_PIECE (1u << 20)          // bytes of a record read at a time
#define WARM_MAX_BYTES (16u << 20)     // larger files are not read ahead: their start costs little beside them

// A record's body, read without ever running past its end: a read beyond it gives zeros and
// marks the body bad
struct Body {
    const uint8_t* p;
    size_t n, at;
    bool bBad;
};

static bool Take(Body* b, void* pOut, size_t uiBytes)
{
    if (b->bBad || uiBytes > b->n - b->at) {
        b->bBad = true;
        memset(pOut, 0, uiBytes);
        return false;
    }
    memcpy(pOut, b->p + b->at, uiBytes);
    b->at += uiBytes;
    return true;
}

static uint32_t U32(Body* b)
{
    uint32_t v;
    Take(b, &v, 4);
    return v;
}

static double F64(Body* b)
{
    double v;
    Take(b, &v, 8);
    return v;
}

static std::string Str(Body* b)
{
    uint16_t uiLen = 0;
    Take(b, &uiLen, 2);
    if (b->bBad || uiLen > b->n - b->at) {
        b->bBad = true;
        return std::string();
    }
    std::string s((const char*)b->p + b->at, uiLen);
    b->at += uiLen;
    return s;
}

// What one stream builds up
struct Build {
    TwExportScene* pScene;
    TwExportStats* pStats;
    const TwExportOptions* pOptions;
    std::map<std::string, int> layerIds;
    std::map<uint32_t, int> materialIds; // by colour, a byte a channel
    bool bOffset;
    uint32_t uiElements, uiParts;        // received, for the end's check
    uint32_t uiLastId;                   // the engine's number of the last element kept, whose data may follow
    bool bLastKept;
};

static int Layer(Build* pBuild, const std::string& name)
{
    std::string latin = twExport_ToLatin1(name);
    auto it = pBuild->layerIds.find(latin);
    if (it != pBuild->layerIds.end())
        return it->second;
    pBuild->pScene->layers.push_back(latin);
    return pBuild->layerIds[latin] = (int)pBuild->pScene->layers.size() - 1;
}

static uint8_t Channel(float f)
{
    return (uint8_t)(f <= 0 || !(f == f) ? 0 : (f >= 1 ? 255 : f * 255.0f + 0.5f));
}

// One material for each colour the styles give; less than opaque is glass
static int Material(Build* pBuild, const float* pfColor)
{
    uint32_t uiKey = (uint32_t)Channel(pfColor[0]) << 24 | (uint32_t)Channel(pfColor[1]) << 16 |
                     (uint32_t)Channel(pfColor[2]) << 8 | Channel(pfColor[3]);
    auto it = pBuild->materialIds.find(uiKey);
    if (it != pBuild->materialIds.end())
        return it->second;
    TwExportMaterial m;
    char szName[48];
    snprintf(szName, sizeof(szName), "IFC colour %06x%s", uiKey >> 8, (uiKey & 0xFF) < 255 ? " glazed" : "");
    m.name = szName;
    for (int i = 0; i < 3; i++)
        m.vDiffuse[i] = Channel(pfColor[i]) / 255.0f;
    m.fTransparency = 1.0f - Channel(pfColor[3]) / 255.0f;
    m.bIsTransparent = (uiKey & 0xFF) < 255;
    pBuild->pScene->materials.push_back(m);
    return pBuild->materialIds[uiKey] = (int)pBuild->pScene->materials.size() - 1;
}

// A file far from its origin (map coordinates, a large site placement) is moved near it by
// whole kilometres, from its first point; the move is kept with the scene
static void ChooseOffset(Build* pBuild, const double* pdPoint)
{
    pBuild->bOffset = true;
    for (int i = 0; i < 3; i++)
        pBuild->pScene->adOffset[i] =
            fabs(pdPoint[i]) > FAR_FROM_ORIGIN ? floor(pdPoint[i] / OFFSET_STEP + 0.5) * OFFSET_STEP : 0;
}

// One part of an element: its triangles placed (in doubles, far from the origin as they may
// be), moved near it, scaled, and added to the soup of its colour
static bool AddPart(Build* pBuild, Body* b, TwExportSceneElement* pElement)
{
    float afColor[4];
    double adMatrix[16];
    Take(b, afColor, sizeof(afColor));
    Take(b, adMatrix, sizeof(adMatrix));
    uint32_t uiVerts = U32(b), uiIndices = U32(b);
    size_t uiLeft = b->n - b->at;
    if (b->bBad || uiVerts > uiLeft / 24 || uiIndices > (uiLeft - (size_t)uiVerts * 24) / 4 || uiIndices % 3)
        return false;
    const uint8_t* pucVerts = b->p + b->at;
    const uint8_t* pucIndices = pucVerts + (size_t)uiVerts * 24;
    b->at += (size_t)uiVerts * 24 + (size_t)uiIndices * 4;
    for (int i = 0; i < 16; i++)
        if (!std::isfinite(adMatrix[i]))
            return false;
    if (!uiVerts || !uiIndices)
        return true;
    TwExportSoup& soup = pElement->soups[Material(pBuild, afColor)];
    uint32_t uiBase = (uint32_t)(soup.positions.size() / 3);
    float fScale = pBuild->pOptions->fScale;
    for (uint32_t v = 0; v < uiVerts; v++) {
        float afLocal[3];
        memcpy(afLocal, pucVerts + (size_t)v * 24, 12);
        double adWorld[3];
        for (int r = 0; r < 3; r++)
            adWorld[r] = adMatrix[r] * afLocal[0] + adMatrix[4 + r] * afLocal[1] + adMatrix[8 + r] * afLocal[2] +
                         adMatrix[12 + r];
        if (!pBuild->bOffset)
            ChooseOffset(pBuild, adWorld);
        for (int r = 0; r < 3; r++) {
            float f = (float)((adWorld[r] - pBuild->pScene->adOffset[r]) * fScale);
            soup.positions.push_back(std::isfinite(f) ? f : 0.0f);
        }
    }
    for (uint32_t i = 0; i < uiIndices; i++) {
        uint32_t uiIndex;
        memcpy(&uiIndex, pucIndices + (size_t)i * 4, 4);
        if (uiIndex >= uiVerts) {
            // a corner beyond the part's vertices: the part's triangles so far stay, its rest goes
            soup.corners.resize(soup.corners.size() - soup.corners.size() % 3);
            return false;
        }
        soup.corners.push_back(uiBase + uiIndex);
    }
    return true;
}

// A field of the data: tabs and line ends would end it early
static void PutDataField(std::string* pOut, const std::string& field)
{
    for (char c : twExport_ToLatin1(field))
        *pOut += c == '\t' || c == '\n' || c == '\r' ? ' ' : c;
}

// The data of the element just read: its sets of named values, as lines of the element's
static bool ReadData(Build* pBuild, Body* b)
{
    uint32_t uiId = U32(b);
    uint16_t usSets = 0;
    Take(b, &usSets, 2);
    std::string data;
    for (uint16_t s = 0; s < usSets && !b->bBad; s++) {
        std::string set = Str(b);
        uint16_t usValues = 0;
        Take(b, &usValues, 2);
        for (uint16_t v = 0; v < usValues && !b->bBad; v++) {
            std::string name = Str(b), value = Str(b), unit = Str(b);
            PutDataField(&data, set);
            data += '\t';
            PutDataField(&data, name);
            data += '\t';
            PutDataField(&data, value);
            data += '\t';
            PutDataField(&data, unit);
            data += '\n';
        }
    }
    if (b->bBad)
        return false;
    // data of an element that was left out, or that has no shape, goes with it
    if (pBuild->bLastKept && uiId == pBuild->uiLastId && !pBuild->pScene->elements.empty())
        pBuild->pScene->elements.back().data += data;
    return true;
}

static bool ReadElement(Build* pBuild, Body* b)
{
    uint32_t uiId = U32(b); // the engine's own number for it, which its data names
    pBuild->bLastKept = false;
    TwExportSceneElement element;
    element.globalId = Str(b);
    element.sourceClass = Str(b);
    element.name = twExport_ToLatin1(Str(b));
    std::string storey = Str(b);
    uint32_t uiParts = U32(b);
    if (b->bBad || uiParts > (b->n - b->at) / PART_FIXED_BYTES)
        return false;
    pBuild->uiElements++;
    pBuild->uiParts += uiParts;
    element.iType = twExport_IfcType(element.sourceClass, twExport_Lower(element.name));
    if (element.iType == TW_EXPORT_LEFT_OUT) {
        pBuild->pStats->iSkipped++;
        return true;
    }
    element.storey = twExport_ToLatin1(storey);
    element.iLayer = Layer(pBuild, !storey.empty() ? storey : element.sourceClass == "IfcSite" ? "Site" : "Building");
    for (uint32_t i = 0; i < uiParts; i++)
        if (!AddPart(pBuild, b, &element))
            return false;
    if (!element.soups.empty()) {
        pBuild->pScene->elements.push_back(std::move(element));
        pBuild->uiLastId = uiId;
        pBuild->bLastKept = true;
    }
    return true;
}

static void ReadPlace(Build* pBuild, Body* b)
{
    TwExportPlace* p = &pBuild->pScene->place;
    uint8_t ucMap = 0;
    Take(b, &ucMap, 1);
    p->bMapConversion = ucMap != 0;
    double* apdFields[] = {&p->dEastings, &p->dNorthings, &p->dHeight, &p->dXAxisAbscissa, &p->dXAxisOrdinate,
                           &p->dScale};
    for (double* pd : apdFields)
        *pd = F64(b);
    p->crs = twExport_ToLatin1(Str(b));
    p->dLatitude = F64(b);
    p->dLongitude = F64(b);
    p->dElevation = F64(b);
    // the map's coordinates in metres; a stream without the unit gives them as they were
    double dUnit = F64(b);
    if (!b->bBad && std::isfinite(dUnit) && dUnit > 0) {
        p->dEastings *= dUnit;
        p->dNorthings *= dUnit;
        p->dHeight *= dUnit;
    }
}

int twExportIfc_ReadStream(FILE* pIn, const TwExportOptions& options, TwExportScene* pScene, TwExportStats* pStats,
                           std::string* pError)
{
    char acMagic[4];
    uint32_t uiVersion = 0;
    if (fread(acMagic, 1, 4, pIn) != 4 || memcmp(acMagic, STREAM_MAGIC, 4) != 0 || fread(&uiVersion, 4, 1, pIn) != 1) {
        *pError = "the IFC reader gave nothing";
        return 0;
    }
    if (uiVersion != STREAM_VERSION) {
        *pError = "the IFC reader is of another version than the exporter";
        return 0;
    }
    Build build = {};
    build.pScene = pScene;
    build.pStats = pStats;
    build.pOptions = &options;
    std::vector<uint8_t> body;
    for (;;) {
        uint8_t aucHead[5];
        if (fread(aucHead, 1, 5, pIn) != 5) {
            *pError = "the IFC reader stopped before the end of the file";
            return 0;
        }
        uint32_t uiBytes;
        memcpy(&uiBytes, aucHead + 1, 4);
        if (uiBytes > MAX_RECORD_BYTES) {
            *pError = "the IFC reader's stream is damaged (a record too long)";
            return 0;
        }
        // read as it comes: a length the bytes don't follow costs no more than the bytes
        body.clear();
        while (body.size() < uiBytes) {
            size_t uiAt = body.size(), uiPiece = uiBytes - uiAt < READ_PIECE ? uiBytes - uiAt : READ_PIECE;
            body.resize(uiAt + uiPiece);
            if (fread(body.data() + uiAt, 1, uiPiece, pIn) != uiPiece) {
                *pError = "the IFC reader stopped before the end of the file";
                return 0;
            }
        }
        Body b = {body.data(), body.size(), 0, false};
        switch (aucHead[0]) {
        case 'S':
            pScene->schema = Str(&b);
            pScene->projectName = twExport_ToLatin1(Str(&b));
            break;
        case 'G':
            ReadPlace(&build, &b);
            break;
        case 'P': {
            float fDone = 0;
            Take(&b, &fDone, 4);
            if (options.pfnProgress && fDone >= 0 && fDone <= 1)
                options.pfnProgress(0.5f * fDone);
            break;
        }
        case 'E':
            if (build.uiElements >= MAX_ELEMENTS || !ReadElement(&build, &b)) {
                *pError = "the IFC reader's stream is damaged (an element that doesn't add up)";
                return 0;
            }
            break;
        case 'D':
            if (!ReadData(&build, &b)) {
                *pError = "the IFC reader's stream is damaged (an element's data that doesn't add up)";
                return 0;
            }
            break;
        case 'X':
            *pError = Str(&b);
            if (pError->empty())
                *pError = "the IFC engine failed";
            return 0;
        case 'Z': {
            uint32_t uiElements = U32(&b), uiParts = U32(&b);
            if (b.bBad || uiElements != build.uiElements || uiParts != build.uiParts) {
                *pError = "the IFC reader's stream is damaged (its counts don't add up)";
                return 0;
            }
            if (pScene->elements.empty()) {
                *pError = build.uiElements ? "the file has no element to show, only spaces and openings"
                                           : "the file has no element with a shape";
                return 0;
            }
            return 1;
        }
        default:
            break; // a kind of a later version: passed over
        }
    }
}

// The last bytes of a whole IFC file hold its end mark: a file without it was cut short
static bool EndsWhole(FILE* pFile)
{
    char acTail[1025];
    if (fseek(pFile, -1024, SEEK_END) != 0 && fseek(pFile, 0, SEEK_SET) != 0)
        return false;
    size_t uiGot = fread(acTail, 1, 1024, pFile);
    acTail[uiGot] = 0;
    for (size_t i = 0; i < uiGot; i++)
        if (!acTail[i])
            acTail[i] = ' ';
    return strstr(acTail, "END-ISO-10303-21") != nullptr;
}

int twExportIfc_IsIfc(const char* pstrPath)
{
    FILE* pFile = fopen(pstrPath, "rb");
    if (!pFile)
        return 0;
    char acHead[HEADER_BYTES + 1];
    size_t uiGot = fread(acHead, 1, HEADER_BYTES, pFile);
    fclose(pFile);
    acHead[uiGot] = 0;
    for (size_t i = 0; i < uiGot; i++)
        if (!acHead[i])
            acHead[i] = ' ';
    const char* pstrStart = strstr(acHead, "ISO-10303-21");
    return pstrStart && pstrStart - acHead < 64 && strstr(pstrStart, "FILE_SCHEMA");
}

// Node with the IFC reader's script, writing its stream to a pipe on descriptor 3; it dies
// with the exporter, so that a cancelled export leaves no engine behind. With piFeed it
// makes the engine ready, warms it on pstrInput (when given) and waits for the path of the
// file to stream on the pipe *piFeed writes to.
static pid_t StartReader(const std::string& script, const char* pstrInput, int bData, int* piStream, int* piFeed)
{
    int aiPipe[2], aiFeed[2] = {-1, -1};
    if (pipe2(aiPipe, O_CLOEXEC) != 0)
        return -1;
    if (piFeed && pipe2(aiFeed, O_CLOEXEC) != 0) {
        close(aiPipe[0]);
        close(aiPipe[1]);
        return -1;
    }
    pid_t iParent = getpid();
    pid_t iPid = fork();
    if (iPid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != iParent)
            _exit(1);
        dup2(aiPipe[1], 3);
        int iNull = open("/dev/null", O_RDWR);
        dup2(piFeed ? aiFeed[0] : iNull, 0);
        dup2(iNull, 1);
        dup2(iNull, 2);
        const char* apstrArgs[6];
        int n = 0;
        apstrArgs[n++] = "node";
        apstrArgs[n++] = script.c_str();
        if (!bData)
            apstrArgs[n++] = "--no-data";
        if (piFeed)
            apstrArgs[n++] = "--wait";
        apstrArgs[n++] = pstrInput;
        apstrArgs[n] = nullptr;
        execvp("node", (char* const*)apstrArgs);
        _exit(127);
    }
    close(aiPipe[1]);
    if (aiFeed[0] >= 0)
        close(aiFeed[0]);
    if (iPid < 0) {
        close(aiPipe[0]);
        if (aiFeed[1] >= 0)
            close(aiFeed[1]);
        return -1;
    }
    *piStream = aiPipe[0];
    if (piFeed)
        *piFeed = aiFeed[1];
    return iPid;
}

// The reader started before its file was known, for the first IFC file of the export; the
// sources of several are read side by side, and one of them takes it
static pthread_mutex_t s_waitingLock = PTHREAD_MUTEX_INITIALIZER;
static pid_t s_iWaitingPid = -1;
static int s_iWaitingStream = -1, s_iWaitingFeed = -1;

int twExportIfc_StartWaiting(const TwExportOptions& options, const char* pstrWarm)
{
    if (s_iWaitingPid > 0 || access(options.ifcReader.c_str(), R_OK) != 0)
        return 0;
    // a reader that is gone before it is asked must not take the exporter with it
    signal(SIGPIPE, SIG_IGN);
    struct stat st;
    bool bWarm = pstrWarm && stat(pstrWarm, &st) == 0 && st.st_size <= (off_t)WARM_MAX_BYTES && twExportIfc_IsIfc(pstrWarm);
    s_iWaitingPid = StartReader(options.ifcReader, bWarm ? pstrWarm : nullptr, options.bProperties, &s_iWaitingStream,
                                &s_iWaitingFeed);
    return s_iWaitingPid > 0;
}

// The waiting reader given its file: its pid and stream, or -1 when there is none or it has
// gone (it is then waited for, and a new one starts in its place)
static pid_t TakeWaiting(const char* pstrInput, int* piStream)
{
    pthread_mutex_lock(&s_waitingLock);
    pid_t iPid = s_iWaitingPid;
    int iFeed = s_iWaitingFeed, iStream = s_iWaitingStream;
    s_iWaitingPid = -1;
    s_iWaitingFeed = -1;
    pthread_mutex_unlock(&s_waitingLock);
    if (iPid <= 0)
        return -1;
    std::string line = std::string(pstrInput) + "\n";
    bool bSent = line.find('\n') == line.size() - 1 && write(iFeed, line.data(), line.size()) == (ssize_t)line.size();
    close(iFeed);
    if (!bSent) {
        kill(iPid, SIGKILL);
        close(iStream);
        while (waitpid(iPid, nullptr, 0) < 0 && errno == EINTR) {
        }
        return -1;
    }
    *piStream = iStream;
    return iPid;
}

// ---------------------------------------------------------------------------------------------
// Kept streams: a source of several that wasn't saved is read from what its engine said last
// ---------------------------------------------------------------------------------------------

// "<keep>/<hash of the path>": ".stream" the engine's stream, ".key" the source's size and
// time it was taken from
static std::string KeptName(const TwExportOptions& options, const char* pstrInput)
{
    char szReal[PATH_MAX];
    const char* pstrPath = realpath(pstrInput, szReal) ? szReal : pstrInput;
    uint64_t uiHash = 1469598103934665603ull;
    for (const char* p = pstrPath; *p; p++)
        uiHash = (uiHash ^ (uint8_t)*p) * 1099511628211ull;
    char szName[32];
    snprintf(szName, sizeof(szName), "/%016llx", (unsigned long long)uiHash);
    return options.keep + szName;
}

static std::string SourceKey(const char* pstrInput, int bProperties)
{
    struct stat st;
    if (stat(pstrInput, &st) != 0)
        return "";
    char szKey[96];
    snprintf(szKey, sizeof(szKey), "%lld %lld.%09ld %u %d\n", (long long)st.st_size, (long long)st.st_mtim.tv_sec,
             st.st_mtim.tv_nsec, STREAM_VERSION, bProperties ? 1 : 0);
    return szKey;
}

static std::string ReadSmall(const std::string& path)
{
    char szText[128];
    FILE* pFile = fopen(path.c_str(), "rb");
    if (!pFile)
        return "";
    size_t uiGot = fread(szText, 1, sizeof(szText) - 1, pFile);
    fclose(pFile);
    return std::string(szText, uiGot);
}

// A stream read from the engine's pipe and written on into a file as it goes
struct Tee {
    FILE* pFrom;
    FILE* pTo;
    bool bLost; // the copy failed: it is not kept
};

static ssize_t TeeRead(void* pCookie, char* pBuffer, size_t uiSize)
{
    Tee* t = (Tee*)pCookie;
    size_t uiGot = fread(pBuffer, 1, uiSize, t->pFrom);
    if (uiGot && !t->bLost && fwrite(pBuffer, 1, uiGot, t->pTo) != uiGot)
        t->bLost = true;
    return (ssize_t)uiGot;
}

int twExportIfc_Read(const char* pstrInput, const TwExportOptions& options, TwExportScene* pScene,
                     TwExportStats* pStats, std::string* pError)
{
    std::string kept = options.keep.empty() ? "" : KeptName(options, pstrInput);
    std::string key = kept.empty() ? "" : SourceKey(pstrInput, options.bProperties);
    if (!key.empty() && ReadSmall(kept + ".key") == key) {
        FILE* pKept = fopen((kept + ".stream").c_str(), "rb");
        std::string why;
        int bOk = pKept && twExportIfc_ReadStream(pKept, options, pScene, pStats, &why);
        if (pKept)
            fclose(pKept);
        if (bOk)
            return 1;
        // a kept stream that doesn't read is the engine's to make again
        fprintf(stderr, "ambexport: the kept stream of '%s' doesn't read (%s): read anew\n", pstrInput, why.c_str());
        *pScene = TwExportScene();
    }

    FILE* pFile = fopen(pstrInput, "rb");
    bool bWhole = pFile && EndsWhole(pFile);
    if (pFile)
        fclose(pFile);
    if (!bWhole) {
        *pError = "the file is cut short: it lacks the end mark of an IFC file";
        return 0;
    }
    if (access(options.ifcReader.c_str(), R_OK) != 0) {
        *pError = "the IFC reader is not installed beside the exporter";
        return 0;
    }
    if (options.pfnProgress)
        options.pfnProgress(-1.0f);
    int iStream = -1;
    pid_t iPid = TakeWaiting(pstrInput, &iStream);
    if (iPid < 0)
        iPid = StartReader(options.ifcReader, pstrInput, options.bProperties, &iStream, nullptr);
    if (iPid < 0) {
        *pError = std::string("the IFC reader could not be started: ") + strerror(errno);
        return 0;
    }
    FILE* pIn = fdopen(iStream, "rb");
    Tee tee = {pIn, nullptr, false};
    FILE* pTee = nullptr;
    if (pIn && !key.empty()) {
        mkdir(options.keep.c_str(), 0755);
        tee.pTo = fopen((kept + ".stream.part").c_str(), "wb");
        cookie_io_functions_t functions = {TeeRead, nullptr, nullptr, nullptr};
        pTee = tee.pTo ? fopencookie(&tee, "rb", functions) : nullptr;
    }
    int bOk = pIn && twExportIfc_ReadStream(pTee ? pTee : pIn, options, pScene, pStats, pError);
    // at the stream's end the engine is ending too; before it, it may still be at work
    bool bEnded = !pIn || feof(pIn) || ferror(pIn);
    if (pTee)
        fclose(pTee);
    if (tee.pTo) {
        // kept only whole, and only when the source didn't change while it was read; the old
        // key goes first, so that no stream stands beside another's key
        std::string part = kept + ".stream.part";
        bool bWhole = fclose(tee.pTo) == 0 && bOk && !tee.bLost && SourceKey(pstrInput, options.bProperties) == key;
        unlink((kept + ".key").c_str());
        FILE* pKey = nullptr;
        bool bKept = bWhole && rename(part.c_str(), (kept + ".stream").c_str()) == 0 &&
                     (pKey = fopen((kept + ".key").c_str(), "wb")) != nullptr && fputs(key.c_str(), pKey) >= 0;
        if (pKey && fclose(pKey) != 0)
            bKept = false;
        if (!bKept) {
            unlink(part.c_str());
            unlink((kept + ".key").c_str());
        }
    }
    if (pIn)
        fclose(pIn);
    else
        close(iStream);
    int iStatus = 0;
    pid_t iDone;
    while ((iDone = waitpid(iPid, &iStatus, bOk || bEnded ? 0 : WNOHANG)) < 0 && errno == EINTR) {
    }
    if (iDone == 0) {
        // what is left of a stream that broke off leaves the engine nothing to say
        kill(iPid, SIGKILL);
        while (waitpid(iPid, &iStatus, 0) < 0 && errno == EINTR) {
        }
        return 0;
    }
    if (bOk || !bEnded)
        return bOk; // done, or the engine's own reason
    if (WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 127)
        *pError = "Node.js is not installed: the IFC reader needs it";
    else if (WIFSIGNALED(iStatus))
        *pError = "the IFC engine broke off (signal " + std::to_string(WTERMSIG(iStatus)) +
                  (WTERMSIG(iStatus) == SIGKILL ? ": out of memory?)" : ")");
    return 0;
}
