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

// Texts the code asks for by number. The ids are the contract between the table's words
// and the code: each one the code uses is named here, beside the ones the pages name.
#define TW_STR_APP_NAME 1            // the title and the progress screen's heading
#define TW_STR_LOADING 8             // the progress screen's "Loading n %"
#define TW_STR_NO_MODEL 14           // the model line while none is open
#define TW_STR_LEGAL_LINE 15         // the foot of the information page
#define TW_STR_PROGRAM_FILES 115     // the open dialog's kind of file
#define TW_STR_MODEL_FILES 541       // the building models' dialog's kind of file
#define TW_STR_MODELS_OPEN 561       // the list of the files open together
#define TW_STR_METRES_SHORT 143      // unit suffixes
#define TW_STR_FEET_SHORT 144
#define TW_STR_MODE_PLAIN 150        // render modes
#define TW_STR_MODE_LIT 154
#define TW_STR_MODE_SUN 165
#define TW_STR_MODE_LAMP 166
#define TW_STR_MODE_LAMP_GREY 167
#define TW_STR_MODE_WHITE 168
#define TW_STR_OFF 170               // then "On": the no/yes options, and stereo off
#define TW_STR_LOOK_NORMAL 172       // then "Inverted": the mouse look
#define TW_STR_LIGHT_PREPARING 158     // the light job's status line
#define TW_STR_LIGHT_PACKING 159
#define TW_STR_LIGHT_READY 160
#define TW_STR_LIGHT_PARTLY 161
#define TW_STR_LIGHT_RUNNING 213
#define TW_STR_LIGHT_UNKNOWN 214       // speed and time left, too early to tell
#define TW_STR_HOURS 215
#define TW_STR_MINUTES 216
#define TW_STR_SECONDS 217
#define TW_STR_LIGHT_PAUSED 218
#define TW_STR_LIGHT_FINISHED 219
#define TW_STR_LIGHT_STOPPED 558     // the message of a job that could not go on
#define TW_STR_STEREO_RED_CYAN 174
#define TW_STR_STEREO_SIDE_BY_SIDE 175
#define TW_STR_STEREO_INTERLACED 177
#define TW_STR_BACKGROUND_BLACK 180  // then grey, white and the sky
#define TW_STR_BACKGROUND_GRADIENT 190

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
const char* twStrings_Find(int iId);         // the text, or null where the table has none
int twStrings_GetLanguage(void);
int twStrings_GetCharset(void);
const char* twStrings_GetFontFace(void);
int twStrings_GetFontHeight(void);
int twStrings_GetTextYOffset(void);
int twStrings_Shutdown(void);                // frees every text and the table
