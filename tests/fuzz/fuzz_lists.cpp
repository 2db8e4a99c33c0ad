// The files beside a model and the link's on any bytes: the side file of what each element
// is and the properties side file, read against a model of three elements and 100 bytes,
// and the list of recent models. What a read keeps must stay within its bounds.
#include <stdlib.h>
#include <string.h>

#include <string>

#include "engine/model_link.h"
#include "tests/fuzz/fuzz_common.h"
#include "world/world.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t uiSize)
{
    FuzzStartServices();
    static TwWorld s_world;
    static TwLink s_link;
    pWorld = &s_world;
    s_world.bLoaded = 1;
    s_world.iNumElements = 3;
    if (twWorld_ReadElementInfo((const char*)pData, (int64_t)uiSize, 100)) {
        size_t uiTotal = strlen(s_world.szInfoSource);
        for (int i = 0; i < 3; i++)
            for (int f = 0; f < TW_ELEMENT_INFO_FIELDS; f++)
                uiTotal += strlen(twWorld_GetElementInfo(i)->apstrFields[f]);
        if (uiTotal > uiSize)
            abort();
    }
    twWorld_FreeElementInfo();
    if (twWorld_ReadProperties(pData, (int64_t)uiSize, (int64_t)uiSize, 100)) {
        for (int i = 0; i < 3; i++) {
            const TwPropertiesEntry& e = s_world.pProperties[i];
            if (s_world.llPropertiesData + e.uiOffset + e.uiLength > (int64_t)uiSize)
                abort();
            // the element's text cut into its lines as the pick does
            std::string text((const char*)pData + s_world.llPropertiesData + e.uiOffset, e.uiLength);
            char* pAt = &text[0];
            TwDataLine line;
            while (twWorld_NextDataLine(&pAt, &line))
                if (line.pstrUnit < text.data() || line.pstrUnit > text.data() + text.size())
                    abort();
        }
    }
    twWorld_FreeProperties();
    pWorld = nullptr;
    memset(&s_link, 0, sizeof(s_link));
    pLink = &s_link;
    twLink_ReadRecent((const char*)pData, (int)(uiSize > 1u << 20 ? 1u << 20 : uiSize));
    if (s_link.iNumRecent < 0 || s_link.iNumRecent > TW_RECENT_MAX)
        abort();
    for (int i = 0; i < s_link.iNumRecent; i++)
        if (strnlen(s_link.aRecent[i].szPath, TW_PATH_SIZE) >= TW_PATH_SIZE || s_link.aRecent[i].szPath[0] != '/')
            abort();
    pLink = nullptr;
    return 0;
}
