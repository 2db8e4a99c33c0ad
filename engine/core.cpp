#include "engine/core.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "engine/log.h"

TwCore* pCore = nullptr;

static void CopyPath(char* pstrOut, const char* pstrIn)
{
    snprintf(pstrOut, TW_PATH_SIZE, "%s", pstrIn);
}

int twCore_Init(const char* pstrAppName, const char* pstrExePath)
{
    // the core's record comes from the plain allocator: it starts before the tracked one
    pCore = (TwCore*)calloc(1, sizeof(TwCore));
    if (!pCore)
        return 0;
    CopyPath(pCore->szAppName, pstrAppName ? pstrAppName : "");
    if (pstrExePath)
        CopyPath(pCore->szExePath, pstrExePath);
    else if (!twCore_ParseCommandLine(pCore->szExePath))
        return 0;
    twCore_GetDirectory(pCore->szExePath, pCore->szProgramDir);
    return 1;
}

int twCore_ParseCommandLine(char* pstrOut)
{
    // the kernel names the program's own file; no command line is needed for it
    char szPath[TW_PATH_SIZE];
    ssize_t iLen = readlink("/proc/self/exe", szPath, sizeof(szPath) - 1);
    if (iLen < 5 || iLen >= (ssize_t)sizeof(szPath) - 1)
        return 0;
    szPath[iLen] = 0;
    CopyPath(pstrOut, szPath);
    return 1;
}

const char* twCore_BaseName(const char* pstrPath)
{
    const char* pstrSlash = strrchr(pstrPath, '/');
    return pstrSlash ? pstrSlash + 1 : pstrPath;
}

int twCore_GetDirectory(const char* pstrPath, char* pstrOut)
{
    int iLen = (int)strlen(pstrPath);
    for (int i = iLen - 1; i > 0; i--) {
        if (pstrPath[i] == '/' || pstrPath[i] == '\\') {
            if (i > TW_PATH_SIZE - 2)
                return 0;
            memcpy(pstrOut, pstrPath, i);
            pstrOut[i] = '/';
            pstrOut[i + 1] = 0;
            return 1;
        }
    }
    return 0;
}

int twCore_GetExtension(const char* pstrPath, char* pstrOut)
{
    int iLen = (int)strlen(pstrPath);
    for (int i = iLen - 1; i >= 0 && i >= iLen - 4; i--) {
        if (pstrPath[i] == '.') {
            strcpy(pstrOut, pstrPath + i);
            return 1;
        }
    }
    return 0;
}

int twCore_ExtractName(const char* pstrPath, char* pstrNameOut, int bKeepExt)
{
    if (!pstrPath) {
        twLogError("twCore_ExtractName", "!pstrPath\n");
        return 0;
    }
    if (!pstrNameOut) {
        twLogError("twCore_ExtractName", "!pstrNameOut\n");
        return 0;
    }
    const char* pstrName = pstrPath;
    for (const char* p = pstrPath; *p; p++)
        if (*p == '/' || *p == '\\')
            pstrName = p + 1;
    CopyPath(pstrNameOut, pstrName);
    int iLen = (int)strlen(pstrNameOut);
    // only three-letter extensions are taken off
    if (!bKeepExt && iLen > 4 && pstrNameOut[iLen - 4] == '.')
        pstrNameOut[iLen - 4] = 0;
    return 1;
}

const char* twCore_GetProgramDir(void) { return pCore ? pCore->szProgramDir : nullptr; }
const char* twCore_GetAppName(void) { return pCore ? pCore->szAppName : nullptr; }
const char* twCore_GetExePath(void) { return pCore ? pCore->szExePath : nullptr; }

const char* twCore_GetDataDir(void)
{
    return pCore && pCore->szDataDir[0] ? pCore->szDataDir : nullptr;
}

const char* twCore_GetUserDir(void) { return pCore ? pCore->szUserDir : nullptr; }

void twCore_SetLogFile(const char* pstrPath)
{
    if (pCore && pstrPath)
        CopyPath(pCore->szLogFile, pstrPath);
}

void twCore_SetDataDir(const char* pstrPath)
{
    if (pCore && pstrPath)
        CopyPath(pCore->szDataDir, pstrPath);
}

void twCore_SetUserDir(const char* pstrPath)
{
    if (pCore && pstrPath)
        CopyPath(pCore->szUserDir, pstrPath);
}

void twCore_SetStandAlone(int bStandAlone)
{
    if (pCore)
        pCore->bStandAlone = bStandAlone;
}

int twCore_IsStandAlone(void) { return pCore && pCore->bStandAlone; }

int twCore_GetTempPath(const char* pstrName, char* pstrOut)
{
    const char* pstrUserDir = pCore ? pCore->szUserDir : "";
    int iLen = snprintf(pstrOut, TW_PATH_SIZE, "%sTemp/%s", pstrUserDir, pstrName);
    if (iLen < 0 || iLen >= TW_PATH_SIZE) {
        twLogError("twCore_GetTempPath", "!The path to '%s' is too long\n", pstrName);
        pstrOut[0] = 0;
        return 0;
    }
    return 1;
}

int twCore_FileExists(const char* pstrPath)
{
    FILE* pFile = pstrPath && pstrPath[0] ? fopen(pstrPath, "rb") : nullptr;
    if (!pFile)
        return 0;
    fclose(pFile);
    return 1;
}

int twCore_Shutdown(void)
{
    free(pCore);
    pCore = nullptr;
    return 1;
}

void twCore_FormatThousands(uint32_t uiValue, char* pstrOut)
{
    char szDigits[16];
    int iNumDigits = snprintf(szDigits, sizeof(szDigits), "%u", uiValue);
    int iOut = 0;
    for (int i = 0; i < iNumDigits; i++) {
        if (i > 0 && (iNumDigits - i) % 3 == 0)
            pstrOut[iOut++] = ' ';
        pstrOut[iOut++] = szDigits[i];
    }
    pstrOut[iOut] = 0;
}
