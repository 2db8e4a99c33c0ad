// What the readers share: text folded for the viewer, and element types from IFC classes or
// from words of a name.
#include <ctype.h>
#include <stdint.h>
#include <string.h>

#include "tools/export/export.h"

std::string twExport_Lower(std::string s)
{
    for (char& c : s)
        c = (char)tolower((unsigned char)c);
    return s;
}

bool twExport_HasExtension(const std::string& path, const char* pstrExtension)
{
    std::string lower = twExport_Lower(path);
    size_t uiLen = strlen(pstrExtension);
    return lower.size() > uiLen && lower.compare(lower.size() - uiLen, uiLen, pstrExtension) == 0;
}

bool twExport_Contains(const std::string& lower, const char* const* apstrWords)
{
    for (int i = 0; apstrWords[i]; i++)
        if (lower.find(apstrWords[i]) != std::string::npos)
            return true;
    return false;
}

// The viewer draws its texts as single bytes of the Latin set: UTF-8 is folded to it
std::string twExport_ToLatin1(const std::string& utf8)
{
    std::string out;
    for (size_t i = 0; i < utf8.size();) {
        unsigned char c = (unsigned char)utf8[i];
        if (c < 0x80) {
            out += (char)c;
            i++;
            continue;
        }
        int iLen = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
        uint32_t uiCode = iLen == 2 ? (c & 0x1F) : iLen == 3 ? (c & 0x0F) : (c & 0x07);
        for (int k = 1; k < iLen && i + k < utf8.size(); k++)
            uiCode = (uiCode << 6) | ((unsigned char)utf8[i + k] & 0x3F);
        out += uiCode <= 0xFF && iLen > 1 ? (char)uiCode : '?';
        i += iLen;
    }
    return out;
}

// Element types of IFC classes, IFC2x3 to IFC4x3: what stops the walker, what he passes
// through, what is left out
int twExport_IfcType(const std::string& cls, const std::string& lowerName)
{
    static const struct {
        const char* pstrClass;
        int iType;
    } aTypes[] = {
        {"IfcWall", TW_EXPORT_WALL}, {"IfcWallStandardCase", TW_EXPORT_WALL}, {"IfcWallElementedCase", TW_EXPORT_WALL},
        {"IfcCurtainWall", TW_EXPORT_WALL}, {"IfcChimney", TW_EXPORT_WALL},
        {"IfcSlab", TW_EXPORT_SLAB}, {"IfcSlabStandardCase", TW_EXPORT_SLAB}, {"IfcSlabElementedCase", TW_EXPORT_SLAB},
        {"IfcPlate", TW_EXPORT_SLAB}, {"IfcPlateStandardCase", TW_EXPORT_SLAB}, {"IfcFooting", TW_EXPORT_SLAB},
        {"IfcRoof", TW_EXPORT_ROOF},
        {"IfcFurnishingElement", TW_EXPORT_FURNISHING}, {"IfcFurniture", TW_EXPORT_FURNISHING},
        {"IfcSystemFurnitureElement", TW_EXPORT_FURNISHING}, {"IfcFlowTerminal", TW_EXPORT_FURNISHING},
        {"IfcSanitaryTerminal", TW_EXPORT_FURNISHING}, {"IfcAirTerminal", TW_EXPORT_FURNISHING},
        {"IfcLightFixture", TW_EXPORT_FURNISHING}, {"IfcLamp", TW_EXPORT_FURNISHING},
        {"IfcElectricAppliance", TW_EXPORT_FURNISHING}, {"IfcFireSuppressionTerminal", TW_EXPORT_FURNISHING},
        {"IfcOutlet", TW_EXPORT_FURNISHING}, {"IfcSwitchingDevice", TW_EXPORT_FURNISHING},
        {"IfcDoor", TW_EXPORT_DOOR}, {"IfcDoorStandardCase", TW_EXPORT_DOOR},
        {"IfcColumn", TW_EXPORT_COLUMN}, {"IfcColumnStandardCase", TW_EXPORT_COLUMN}, {"IfcPile", TW_EXPORT_COLUMN},
        {"IfcWindow", TW_EXPORT_WINDOW}, {"IfcWindowStandardCase", TW_EXPORT_WINDOW},
        {"IfcRailing", TW_EXPORT_RAILING},
        {"IfcStair", TW_EXPORT_STAIR}, {"IfcStairFlight", TW_EXPORT_STAIR}, {"IfcRamp", TW_EXPORT_STAIR},
        {"IfcRampFlight", TW_EXPORT_STAIR},
        {"IfcBeam", TW_EXPORT_BEAM}, {"IfcBeamStandardCase", TW_EXPORT_BEAM}, {"IfcMember", TW_EXPORT_BEAM},
        {"IfcMemberStandardCase", TW_EXPORT_BEAM}, {"IfcDuctSegment", TW_EXPORT_BEAM}, {"IfcPipeSegment", TW_EXPORT_BEAM},
        {"IfcCableCarrierSegment", TW_EXPORT_BEAM}, {"IfcDuctFitting", TW_EXPORT_BEAM},
        {"IfcPipeFitting", TW_EXPORT_BEAM}, {"IfcFlowSegment", TW_EXPORT_BEAM}, {"IfcFlowFitting", TW_EXPORT_BEAM},
        {"IfcDiscreteAccessory", TW_EXPORT_BEAM}, {"IfcMechanicalFastener", TW_EXPORT_BEAM},
        {"IfcCovering", TW_EXPORT_COVERING}, {"IfcShadingDevice", TW_EXPORT_COVERING},
        {"IfcSite", TW_EXPORT_SITE}, {"IfcGeographicElement", TW_EXPORT_SITE}, {"IfcEarthworksFill", TW_EXPORT_SITE},
        {"IfcEarthworksCut", TW_EXPORT_SITE}, {"IfcPavement", TW_EXPORT_SITE}, {"IfcCourse", TW_EXPORT_SITE},
        {"IfcSpace", TW_EXPORT_LEFT_OUT}, {"IfcOpeningElement", TW_EXPORT_LEFT_OUT},
        {"IfcOpeningStandardCase", TW_EXPORT_LEFT_OUT}, {"IfcVoidingFeature", TW_EXPORT_LEFT_OUT},
        {"IfcAnnotation", TW_EXPORT_LEFT_OUT}, {"IfcGrid", TW_EXPORT_LEFT_OUT}, {"IfcGridAxis", TW_EXPORT_LEFT_OUT},
        {"IfcVirtualElement", TW_EXPORT_LEFT_OUT}, {"IfcSpatialZone", TW_EXPORT_LEFT_OUT},
        {"IfcExternalSpatialElement", TW_EXPORT_LEFT_OUT}, {"IfcAlignment", TW_EXPORT_LEFT_OUT},
        {"IfcReferent", TW_EXPORT_LEFT_OUT},
    };
    for (const auto& t : aTypes)
        if (cls == t.pstrClass) {
            static const char* const apstrRoof[] = {"dach", "roof", nullptr};
            if (t.iType == TW_EXPORT_SLAB && twExport_Contains(lowerName, apstrRoof))
                return TW_EXPORT_ROOF;
            return t.iType;
        }
    return TW_EXPORT_OTHER;
}

// Element types by keywords of a node's name, for formats without classes: the first row
// with a word in the name decides
int twExport_NameType(const std::string& lower)
{
    static const struct {
        int iType;
        const char* apstrWords[14];
    } aRows[] = {
        {TW_EXPORT_DOOR, {"door", "tuer", "tür", "porte"}},
        {TW_EXPORT_WINDOW, {"window", "fenster", "glass", "glazing"}},
        {TW_EXPORT_WALL, {"wall", "wand", "mur"}},
        {TW_EXPORT_ROOF, {"roof", "dach"}},
        {TW_EXPORT_SLAB, {"slab", "floor", "ceiling", "decke", "boden"}},
        {TW_EXPORT_FURNISHING, {"furn", "chair", "table", "sofa", "bed", "desk", "shelf", "stuhl", "tisch", "bett",
                                "schrank", "lamp", "plant"}},
        {TW_EXPORT_COLUMN, {"column", "pillar", "stuetze", "stütze"}},
        {TW_EXPORT_RAILING, {"rail", "gelaender", "geländer", "balustrade"}},
        {TW_EXPORT_STAIR, {"stair", "step", "treppe"}},
        {TW_EXPORT_BEAM, {"beam", "balken", "unterzug", "sparren"}},
        {TW_EXPORT_SITE, {"terrain", "ground", "site", "gelände"}},
    };
    for (const auto& row : aRows)
        if (twExport_Contains(lower, row.apstrWords))
            return row.iType;
    return TW_EXPORT_OTHER;
}
