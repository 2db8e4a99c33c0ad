// Shared set-up of the fuzz targets: the services up once, logging off, and the input
// handed to readers as a stream.
#pragma once
#include <stdint.h>
#include <stdio.h>

#include "engine/core.h"
#include "engine/memory.h"
#include "engine/timer.h"

static inline void FuzzStartServices(void)
{
    if (pCore)
        return;
    twTimer_Init();
    twCore_Init("Ambulon 2", "/nonexistent/Ambulon.exe");
    twCore_SetUserDir("/nonexistent/"); // no switch file there: logging stays off
    twMem_Init(0);
}

static inline FILE* FuzzOpen(const uint8_t* pData, size_t uiSize)
{
    // fmemopen refuses an empty buffer
    return uiSize ? fmemopen((void*)pData, uiSize, "rb") : fopen("/dev/null", "rb");
}
