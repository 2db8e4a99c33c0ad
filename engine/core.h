// Paths, directories, resource packs and the log's state.
// Written only by core.cpp, resource.cpp and log.cpp; everyone else reads through the getters.
#pragma once
#include <stdint.h>
#include <stdio.h>

#define TW_PATH_SIZE 512
#define TW_TEXT_SIZE 64
#define TW_SET_SIZE (TW_PATH_SIZE * 4) // the whole paths of several files, joined by tabs

// Resource pack trailer and directory entry
#define TW_PACK_MAGIC "TWRS"
#define TW_PACK_NAME_SIZE 512
#define TW_PACK_ENTRY_SIZE 520
#define TW_PACK_TRAILER_SIZE 8

// One directory entry of a resource pack, as it stands in the file.
struct TwPackEntry {
    char szName[TW_PACK_NAME_SIZE]; // C string, the rest zero
    uint32_t uiOffset;              // first byte, from the start of the file
    uint32_t uiSize;                // bytes; an entry of size 0 can't be found
};
static_assert(sizeof(TwPackEntry) == TW_PACK_ENTRY_SIZE, "pack entry mirrors the file");

struct TwCore {
    char szAppName[TW_PATH_SIZE];
    char szLogFile[TW_PATH_SIZE];    // empty: no log is written
    char szExePath[TW_PATH_SIZE];    // the program's own file, which carries the pack
    char szProgramDir[TW_PATH_SIZE]; // ends in "/"
    char szDataDir[TW_PATH_SIZE];    // ends in "/"
    char szUserDir[TW_PATH_SIZE];    // ends in "/"; empty in a stand-alone copy
    char szLastTag[256];             // the last tag written to the log
    int32_t iNumLogLines;            // messages written to the log in this run
    int32_t iLogSwitch;              // 0 undecided, 1 logging on, -1 off: decided once per run
    int32_t bStandAlone;             // the program's own pack carries a model: decided once at start
};

extern TwCore* pCore;

int twCore_Init(const char* pstrAppName, const char* pstrExePath); // allocates pCore, finds the program
int twCore_ParseCommandLine(char* pstrOut);                        // the program's own file
int twCore_GetDirectory(const char* pstrPath, char* pstrOut);      // folder of a path, ending in "/"
const char* twCore_BaseName(const char* pstrPath);                 // the name after the last "/"
int twCore_GetExtension(const char* pstrPath, char* pstrOut);      // ".ext" among the last four characters
int twCore_ExtractName(const char* pstrPath, char* pstrNameOut, int bKeepExt); // file name of a path
const char* twCore_GetProgramDir(void);
const char* twCore_GetDataDir(void);
const char* twCore_GetUserDir(void);
const char* twCore_GetAppName(void);
const char* twCore_GetExePath(void);
void twCore_SetLogFile(const char* pstrPath);
void twCore_SetDataDir(const char* pstrPath);
void twCore_SetUserDir(const char* pstrPath);
void twCore_SetStandAlone(int bStandAlone); // the engine's answer at start
int twCore_IsStandAlone(void);              // is this program a published copy?
// "<user folder>Temp/<name>" into TW_PATH_SIZE bytes; 0, logged and empty, when it doesn't fit
int twCore_GetTempPath(const char* pstrName, char* pstrOut);
int twCore_FileExists(const char* pstrPath); // a file that opens for reading
int twCore_Shutdown(void); // frees pCore; 1 also without one
void twCore_FormatThousands(uint32_t uiValue, char* pstrOut); // "12 345 678"; pstrOut holds 16 bytes

// A resource of the program's own pack, as a stream positioned at its first byte; null if absent.
// The caller reads at most *piSize bytes and closes the stream.
FILE* twCore_GetResource(const char* pstrName, int* piSize);
// The same on another file, with its failures logged.
FILE* twCore_GetResourceExt(const char* pstrName, const char* pstrFile, int* piSize);
// Whether the own pack (pstrFile null) or another file's holds the resource
int twCore_HasResource(const char* pstrName, const char* pstrFile);
