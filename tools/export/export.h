// The exporter: building models turned into the viewer's model file. A reader fills the
// neutral scene (export_assimp.cpp: what assimp reads, OBJ, glTF, FBX, DAE, 3DS, IFC and
// more); one finisher (export_finish.cpp) makes its meshes and start view;
// export_geometry.cpp makes the meshes (flat meshes with their coplanar surfaces, smooth
// meshes, feature edges); export_texture.cpp makes the textures.
#pragma once
#include <math.h>
#include <stdint.h>
#include <stdio.h>

#include <map>
#include <string>
#include <vector>

#include "tools/export/model_writer.h"
#include "world/world.h"

// Element type codes written for the viewer. The codes the viewer treats in its own way
// are its own constants: the building's box, walking through, and never occluding.
enum TwExportType {
    TW_EXPORT_LEFT_OUT = -1, // spaces, openings, annotations: not exported
    TW_EXPORT_OTHER = 0,
    TW_EXPORT_WALL = TW_TYPE_WALL,
    TW_EXPORT_SLAB = TW_TYPE_SLAB,
    TW_EXPORT_ROOF = TW_TYPE_ROOF,
    TW_EXPORT_FURNISHING = TW_TYPE_FURNISHING,
    TW_EXPORT_DOOR = TW_TYPE_DOOR,
    TW_EXPORT_COLUMN = TW_TYPE_COLUMN,
    TW_EXPORT_WINDOW = 7,
    TW_EXPORT_RAILING = 8,
    TW_EXPORT_STAIR = 9,
    TW_EXPORT_BEAM = TW_TYPE_NO_OCCLUDER,
    TW_EXPORT_COVERING = 11,
    TW_EXPORT_SITE = 12,
};

struct TwExportOptions {
    float fScale = 1.0f;          // multiplies every length after the file's own unit
    int bZUp = 0;                 // the source has Z up
    float fCreaseDegrees = 30.0f; // sharper than this: a feature edge, and no smoothing across
    float fPlaneDegrees = 1.0f;   // triangles within this angle ...
    float fPlaneTolerance = 0.001f; // ... and this distance in metres lie in one plane
    int iMaxTexture = 1024;       // largest texture side, pixels
    float fSunAltitude = 40.0f, fSunAzimuth = 135.0f; // degrees, the CAD host's azimuth
    void (*pfnProgress)(float fFraction) = nullptr; // told how far it is, 0 to 1; -1 while the source is read
    std::string ifcReader;        // the IFC reader's script, which Node runs
    int bProperties = 1;          // each element's sets of values are read and written beside the model
    std::string keep;             // a folder where each IFC source's stream is kept and, while
                                  // the source is unchanged, read again instead of the engine's
};

struct TwExportStats {
    int iElements = 0, iMeshes = 0, iTriangles = 0, iSurfaces = 0, iSmoothMeshes = 0, iEdges = 0;
    int iDoors = 0, iMaterials = 0, iTextures = 0, iLayers = 0, iSkipped = 0;
};

// Triangles of one material of one element, in metres with Y up: positions (x, y, z each),
// texture coordinates (u, v each, or none) and corners (three a triangle). Appends the
// meshes it makes, none over the 16-bit limits.
struct TwExportSoup {
    std::vector<float> positions;
    std::vector<float> uvs;
    std::vector<uint32_t> corners;
};

// What a reader hands the finisher: each element's triangles by material, and the
// materials, textures and layers they name
struct TwExportSceneElement {
    std::string name;
    std::string sourceClass, storey, globalId; // for the side file
    std::string source;                        // the model it came from, where several were joined
    std::string data;                          // its sets' values: "set\tname\tvalue\tunit\n" each
    int iType = TW_EXPORT_OTHER;
    int iLayer = 0;
    std::map<int, TwExportSoup> soups;        // by material
};

struct TwExportScene {
    std::string projectName;
    std::string schema;                       // an IFC file's, else empty
    double adOffset[3] = {0, 0, 0};           // metres the model was moved to lie near the origin
    TwExportPlace place;
    std::vector<TwExportSceneElement> elements;
    std::vector<TwExportMaterial> materials;
    std::vector<TwExportTexture> textures;
    std::vector<std::string> layers;
};

// export_types.cpp: what the readers share
std::string twExport_Lower(std::string s);
bool twExport_HasExtension(const std::string& path, const char* pstrExtension); // ".ifc", whatever its case
bool twExport_Contains(const std::string& lower, const char* const* apstrWords); // any word, null-ended list
std::string twExport_ToLatin1(const std::string& utf8); // the viewer's texts are Latin bytes
int twExport_IfcType(const std::string& cls, const std::string& lowerName); // TW_EXPORT_LEFT_OUT too
int twExport_NameType(const std::string& lowerName); // by keywords, for formats without classes

// Reads the source and builds the model; 0 with a message in *pError.
// Several sources made one model: each read by its reader, lined up by their map conversions
// (else by their own coordinates), what two share by GlobalId taken once, their layers named
// "<source> / <storey>"; a source that can't be read is passed over with its reason in
// *pSkipped. 0 with the last reason when none can be read.
int twExport_ConvertMany(const std::vector<std::string>& inputs, const TwExportOptions& options, TwExportModel* pModel,
                         TwExportStats* pStats, std::string* pError, std::vector<std::string>* pSkipped);
// The scenes of several sources as one, named as given
int twExport_MergeScenes(const std::vector<TwExportScene>& scenes, const std::vector<std::string>& names,
                         TwExportScene* pOut);
int twExportScene_Convert(const char* pstrInput, const TwExportOptions& options, TwExportModel* pModel,
                          TwExportStats* pStats, std::string* pError);
// export_assimp.cpp: the scene of what assimp reads; 0 with a message
int twExportAssimp_Read(const char* pstrInput, const TwExportOptions& options, TwExportScene* pScene,
                        TwExportStats* pStats, std::string* pError);
// export_ifc.cpp: whether a file is IFC by its header; the scene of an IFC file, from the IFC
// engine run by Node; the scene of the engine's stream (the reader of the two, fuzzed alone)
int twExportIfc_IsIfc(const char* pstrPath);
int twExportIfc_Read(const char* pstrInput, const TwExportOptions& options, TwExportScene* pScene,
                     TwExportStats* pStats, std::string* pError);
// A reader made ready before its file is known, and warmed on pstrWarm (an IFC file, or null),
// taken by the next IFC file read; 1 when started
int twExportIfc_StartWaiting(const TwExportOptions& options, const char* pstrWarm);
int twExportIfc_ReadStream(FILE* pIn, const TwExportOptions& options, TwExportScene* pScene, TwExportStats* pStats,
                           std::string* pError);
// export_finish.cpp: the model of a scene, its meshes made and its start view placed; 0 with
// a message when nothing in it can be shown
int twExport_Finish(const TwExportScene& scene, const TwExportOptions& options, TwExportModel* pModel,
                    TwExportStats* pStats, std::string* pError);
void twExportGeometry_BuildMeshes(const TwExportSoup& soup, int iMaterial, int bTextured,
                                  const TwExportOptions& options, std::vector<TwExportMesh>* pMeshes,
                                  TwExportStats* pStats);

// An image file (or the bytes of one) as a power-of-two TGA for the model; 0 with a message.
int twExportTexture_FromFile(const std::string& path, int iMaxSide, TwExportTexture* pTexture, std::string* pError);
int twExportTexture_FromMemory(const uint8_t* pData, int iSize, int iMaxSide, TwExportTexture* pTexture,
                               std::string* pError);
