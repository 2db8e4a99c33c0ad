#include "engine/writer.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "engine/log.h"
#include "engine/memory.h"

#define COPY_CHUNK_BYTES 0x400000

int twWriter_Open(TwWriter* pWriter, const char* pstrPath)
{
    memset(pWriter, 0, sizeof(TwWriter));
    if (!pstrPath || snprintf(pWriter->szPath, sizeof(pWriter->szPath), "%s", pstrPath) >= TW_PATH_SIZE)
        return 0;
    snprintf(pWriter->szTempPath, sizeof(pWriter->szTempPath), "%s.part", pstrPath);
    pWriter->pFile = fopen(pWriter->szTempPath, "wb");
    return pWriter->pFile != nullptr;
}

int twWriter_Write(TwWriter* pWriter, const void* pData, int64_t iBytes)
{
    if (!pWriter->pFile || pWriter->bFailed)
        return 0;
    if (iBytes > 0 && fwrite(pData, 1, (size_t)iBytes, pWriter->pFile) != (size_t)iBytes)
        pWriter->bFailed = 1;
    return !pWriter->bFailed;
}

int twWriter_U8(TwWriter* pWriter, uint8_t v) { return twWriter_Write(pWriter, &v, 1); }
int twWriter_U32(TwWriter* pWriter, uint32_t v) { return twWriter_Write(pWriter, &v, 4); }
int twWriter_F32(TwWriter* pWriter, float v) { return twWriter_Write(pWriter, &v, 4); }

int twWriter_Finish(TwWriter* pWriter)
{
    if (!pWriter->pFile)
        return 0;
    // the bytes must be on disk before the name moves, or a crash could leave an empty file
    int bOk = !pWriter->bFailed && fflush(pWriter->pFile) == 0 && !ferror(pWriter->pFile) &&
              fsync(fileno(pWriter->pFile)) == 0;
    bOk = fclose(pWriter->pFile) == 0 && bOk;
    pWriter->pFile = nullptr;
    pWriter->bFailed = !bOk;
    if (!bOk)
        unlink(pWriter->szTempPath);
    return bOk;
}

int twWriter_Commit(TwWriter* pWriter)
{
    if (pWriter->bFailed || rename(pWriter->szTempPath, pWriter->szPath) != 0) {
        unlink(pWriter->szTempPath);
        return 0;
    }
    return 1;
}

int twWriter_Close(TwWriter* pWriter)
{
    return twWriter_Finish(pWriter) && twWriter_Commit(pWriter);
}

void twWriter_Abandon(TwWriter* pWriter)
{
    if (pWriter->pFile)
        fclose(pWriter->pFile);
    pWriter->pFile = nullptr;
    if (pWriter->szTempPath[0])
        unlink(pWriter->szTempPath);
}

int twWriter_CopyStream(TwWriter* pWriter, FILE* pIn, int64_t iSize, const char* pstrTag)
{
    uint8_t* pucBuffer = (uint8_t*)twMem_GetTempBuffer(COPY_CHUNK_BYTES, 0);
    if (!pucBuffer) {
        twLogError(pstrTag, "!twMem_GetTempBuffer\n");
        return 0;
    }
    while (iSize > 0) {
        size_t uiPiece = iSize > COPY_CHUNK_BYTES ? COPY_CHUNK_BYTES : (size_t)iSize;
        if (fread(pucBuffer, 1, uiPiece, pIn) != uiPiece) {
            twLogError(pstrTag, "!fread : the source ends early\n");
            return 0;
        }
        if (!twWriter_Write(pWriter, pucBuffer, (int64_t)uiPiece)) {
            twLogError(pstrTag, "!fwrite : '%s'\n", pWriter->szTempPath);
            return 0;
        }
        iSize -= (int64_t)uiPiece;
    }
    return 1;
}
