#include "engine/writer.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

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
