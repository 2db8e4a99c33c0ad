// The string table: every user-visible word, fetched by number from "Strings.bin".
// The same file names the font that suits its language.
#pragma once
#include <stdint.h>
#include <stdio.h>

#define TW_STRINGS_SLOTS 600
#define TW_STRINGS_FILE_NAME "Strings.bin"
#define TW_STRINGS_FACE_SIZE 512

// Header of "Strings.bin", after its "S": four numbers, the face, the record count.
// The file has no padding, so the header is read field by field.
#define TW_STRINGS_HEADER_SIZE 533

struct TwStrings {
    int32_t iLanguage;    // read and kept, not used
    int32_t iCharset;     // font character set
    char szFontFace[TW_STRINGS_FACE_SIZE];
    int32_t iFontHeight;
    int32_t iTextYOffset;
    char** ppStrings;     // TW_STRINGS_SLOTS + 1 pointers: slot 0 unused, slot 600 catches a stray index
    int32_t iNumSlots;    // TW_STRINGS_SLOTS
    int32_t iNumLoaded;   // records in the loaded file
    char szFailed[32];    // the shared buffer of "FAILED(%d)"
};

int twStrings_Init(void);                    // clears the table
int twStrings_ImportBin(const char* pstrPath); // own pack first, else the file (null: the data directory's)
int twStrings_Load(FILE* pFile);             // reads an open stream
const char* twStrings_Get(int iId);          // the text, "FAILED" or "FAILED(%d)"
int twStrings_GetLanguage(void);
int twStrings_GetCharset(void);
const char* twStrings_GetFontFace(void);
int twStrings_GetFontHeight(void);
int twStrings_GetTextYOffset(void);
int twStrings_Shutdown(void);                // frees every text and the table
