// Writes model files ("Export.bin") from a description in memory: the CAD host's side of
// the format, used by the exporter, the tests and the benchmarks. Boxes that are left at
// zero are worked out from the vertices.
#pragma once
#include <math.h>
#include <stdint.h>

#include <string>
#include <vector>

struct TwExportVertex {
    float fU, fV;
    float vNormal[3];
    float vPos[3];
};

struct TwExportSurface {
    uint16_t usFirstIndex;
    uint16_t usNumIndices;
    float fSize; // square metres
};

struct TwExportMesh {
    std::vector<TwExportVertex> verts;
    std::vector<uint16_t> indices;      // triangle list
    std::vector<uint16_t> edges;        // line list of feature edges
    std::vector<TwExportSurface> surfaces; // flat meshes only
    int32_t iMaterial = 0;
    int32_t bSmooth = 0;
    int32_t bLit = 0;
    int32_t iSurfaceCountField = -1;    // >= 0: written as the count instead of the surfaces' size
};

struct TwExportElement {
    std::string name;                   // kept in the record's exporter bytes
    // what the element is in its source, for the side file only: IFC class, storey, GlobalId
    std::string sourceClass, storey, globalId;
    std::string source;                 // the model it came from, where several were joined
    std::string data;                   // for the properties side file: "set\tname\tvalue\tunit\n" each
    int32_t iType = 1;
    int32_t iLayer = 0;
    float vMin[3] = {0, 0, 0}, vMax[3] = {0, 0, 0}; // both zero: from the meshes
    std::vector<TwExportMesh> meshes;
    int32_t iMeshCountField = -1;       // >= 0: written instead of the real count
};

struct TwExportMaterial {
    std::string name;
    float vDiffuse[3] = {0.8f, 0.8f, 0.8f};
    float fTransparency = 0;
    int32_t iTexture = -1;
    int32_t bIsTransparent = 0;
};

struct TwExportTexture {
    std::string name;                   // with its extension: .tga, .bmp or .dds
    int32_t iWidth = 0, iHeight = 0;
    int32_t bUseAlpha = 0;
    std::vector<uint8_t> image;         // the whole image file
};

// Where a model stands on the earth, as its file gives it: the map conversion (eastings,
// northings and height in the map's metres, the x axis's direction, the scale) and the
// site's latitude and longitude in degrees and elevation in metres; NaN where not given
struct TwExportPlace {
    bool bMapConversion = false;
    double dEastings = NAN, dNorthings = NAN, dHeight = NAN, dXAxisAbscissa = NAN, dXAxisOrdinate = NAN, dScale = NAN;
    std::string crs;
    double dLatitude = NAN, dLongitude = NAN, dElevation = NAN;
};

struct TwExportModel {
    int32_t iVersion = 226;
    std::string projectName = "Project";
    float vCameraPos[3] = {0, 0, 0};    // the CAD host's Z-up axes
    float vCameraTarget[3] = {0, 0, 0};
    float fSunAltitude = 45, fSunAzimuth = 45;
    float vSunColor[4] = {1, 0.95f, 0.85f, 1};
    float vSkyColor[4] = {0.35f, 0.4f, 0.5f, 1};
    std::vector<TwExportTexture> textures;
    std::vector<TwExportElement> elements;
    std::vector<TwExportMaterial> materials;
    std::vector<std::string> layers;
    int32_t iTotalMeshesField = -1;     // >= 0: written instead of the real total
    // for the side file: metres the model was moved to lie near its origin, and its place
    double adOffset[3] = {0, 0, 0};
    TwExportPlace place;
};

// The file's bytes
std::vector<uint8_t> twExport_Write(const TwExportModel& model);
// Written to a temporary file and renamed, so a failure never leaves half a model; 1 or 0
int twExport_WriteFile(const TwExportModel& model, const std::string& path);
int twExport_WriteBytes(const std::vector<uint8_t>& bytes, const std::string& path); // the same for any bytes
// The side file beside a model (its name: twWorld_SideFilePath): each element's name,
// class, storey and GlobalId, tied to the model by its size and element count, with the
// source it came from; 1 or 0
std::vector<uint8_t> twExport_WriteInfo(const TwExportModel& model, uint64_t uiModelSize, const std::string& source);
// The properties side file's bytes: each element's sets of values, with the table the viewer
// reads them by; *piCutAt is the first element whose text was left out for the file's limit, or -1
std::vector<uint8_t> twExport_WriteProperties(const TwExportModel& model, uint64_t uiModelSize, int* piCutAt);
int twExport_WriteInfoFile(const TwExportModel& model, uint64_t uiModelSize, const std::string& source,
                           const std::string& path);
// An axis-aligned box as a flat mesh: 12 triangles, a surface for each face, 12 edges
TwExportMesh twExport_BoxMesh(const float* pvMin, const float* pvMax, int iMaterial);
// An uncompressed TGA file of one colour
std::vector<uint8_t> twExport_SolidTga(int iWidth, int iHeight, int iChannels, const uint8_t* pucColor);
