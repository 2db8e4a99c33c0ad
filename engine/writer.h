// A file written whole or not at all: the bytes go to a temporary file beside the target,
// which takes the target's name only once every byte is on disk. A failed write, a full
// disk or a crash never leaves half a file where a good one stood.
#pragma once
#include <stdint.h>
#include <stdio.h>

#include "engine/core.h"

struct TwWriter {
    FILE* pFile;                          // the temporary file; null when closed
    char szPath[TW_PATH_SIZE];            // the target
    char szTempPath[TW_PATH_SIZE + 16];   // the target's name with ".part"
    int32_t bFailed;                      // a write fell short: the file will be dropped
};

int twWriter_Open(TwWriter* pWriter, const char* pstrPath); // 1, or 0 when the temporary file can't be made
int twWriter_Write(TwWriter* pWriter, const void* pData, int64_t iBytes); // 0 once any write has failed
int twWriter_U8(TwWriter* pWriter, uint8_t v);
int twWriter_U32(TwWriter* pWriter, uint32_t v);
int twWriter_F32(TwWriter* pWriter, float v);
int twWriter_Close(TwWriter* pWriter); // puts the file in place: 1, or 0 with the target left as it was
// The two halves of twWriter_Close, for files that take their places together: the bytes
// to disk (0 drops the temporary file), then the name
int twWriter_Finish(TwWriter* pWriter);
int twWriter_Commit(TwWriter* pWriter);
void twWriter_Abandon(TwWriter* pWriter); // drops the temporary file, finished or not; the target stays
// iSize bytes of a stream from its position, in 4 MiB pieces through the temp buffer; a
// failure is logged under the tag given
int twWriter_CopyStream(TwWriter* pWriter, FILE* pIn, int64_t iSize, const char* pstrTag);
