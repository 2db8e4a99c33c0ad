// ambexport: the CAD host's side for Linux. Reads a building model in any format assimp
// knows and writes the viewer's model file; with --open it puts the model where the viewer
// looks for it and starts the viewer, as a CAD host does.
#include <getopt.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "engine/core.h"
#include "platform/window.h"
#include "tools/export/export.h"

static const char* s_pstrHelp =
    "usage: ambexport [options] <model file> [<output>]\n"
    "       ambexport [options] -o <output> <model file>...\n"
    "       ambexport [options] --wait [--warm <model file>] -o <output>\n"
    "\n"
    "Writes the model as an Ambulon model file (\"Export.bin\"). Reads IFC (2x3, 4, 4x3, by\n"
    "the IFC engine web-ifc, run by Node) and what assimp reads: OBJ, glTF, FBX, DAE, 3DS and\n"
    "more. Lengths come out in metres with Y up. Several models (the disciplines of one\n"
    "project) make one: lined up by their map conversions, each layer named \"<model> /\n"
    "<storey>\", what two share by GlobalId taken once; one that can't be read is left out.\n"
    "\n"
    "  -o, --output PATH        the file to write (default: <model name>.bin here)\n"
    "      --open               write it as the viewer's Temp/Export.bin and start the viewer\n"
    "      --if-none            with --open, keep a model that is already there\n"
    "      --viewer PATH        the viewer to start (default: Ambulon.exe beside ambexport)\n"
    "      --scale S            multiply every length by S (after the file's own unit)\n"
    "      --z-up               the model has Z up (most CAD exports to OBJ do)\n"
    "      --crease DEG         edges folding more than this are drawn and not smoothed (30)\n"
    "      --plane-angle DEG    triangles within this angle ... (1)\n"
    "      --plane-tolerance M  ... and distance in metres make one flat surface (0.001)\n"
    "      --max-texture N      largest texture side in pixels, a power of two (1024)\n"
    "      --sun-altitude DEG   the sun's height above the horizon (40)\n"
    "      --sun-azimuth DEG    the sun's direction, the CAD host's azimuth (135)\n"
    "      --progress           print \"progress F\" lines as it goes (F from 0 to 1, -1 reading),\n"
    "                           and on failure one \"error <reason>\" line\n"
    "      --background         --progress, at a priority a little below the viewer's\n"
    "      --wait               make the IFC engine ready, then read the model files' names\n"
    "                           from standard input, one a line, up to an empty line\n"
    "      --no-properties      write no element's property sets, quantities and materials\n"
    "      --keep DIR           keep each IFC model's engine stream in DIR, and read a model\n"
    "                           unchanged since from there (several models, one saved)\n"
    "      --warm PATH          with --wait, read this IFC file twice to nowhere first: the\n"
    "                           engine is then quicker on it and on files like it\n"
    "  -q, --quiet              print nothing but errors\n"
    "  -h, --help               this text\n"
    "\n"
    "Element types written (IFC class, else words in the object's name):\n"
    "   1 wall        IfcWall, IfcWallStandardCase, IfcCurtainWall; wall, wand\n"
    "   2 slab        IfcSlab, IfcPlate; slab, floor, ceiling, decke, boden\n"
    "   3 roof        IfcRoof, slabs named roof or dach; roof, dach\n"
    "   4 furnishing  IfcFurnishingElement, IfcFurniture, sanitary terminals; chair, table,\n"
    "                 sofa, bed, desk, shelf, lamp, plant (no collision)\n"
    "   5 door        IfcDoor; door, tuer (no collision: the walker passes)\n"
    "   6 column      IfcColumn; column, pillar\n"
    "   7 window      IfcWindow; window, fenster, glass\n"
    "   8 railing     IfcRailing; rail, gelaender\n"
    "   9 stair       IfcStair, IfcStairFlight, IfcRamp; stair, step, treppe\n"
    "  10 beam        IfcBeam, IfcMember; beam, balken (no occluders)\n"
    "  11 covering    IfcCovering\n"
    "  12 site        IfcSite; terrain, ground, site\n"
    "   0 other       anything else\n"
    "IfcSpace, IfcOpeningElement, IfcAnnotation and IfcGrid are left out. Each IFC storey\n"
    "becomes a layer; in other formats each group under the root does. Materials keep their\n"
    "colour and opacity; glass and anything less than opaque is transparent.\n"
    "\n"
    "Beside the model goes <output name>.elements: each element's name, IFC class, storey\n"
    "and GlobalId, which the viewer shows when an element is picked; and for IFC\n"
    "<output name>.properties: each element's property sets, quantities, type, materials\n"
    "and classifications, which the pick lists.\n";

static void PrintProgress(float fFraction)
{
    printf("progress %.3f\n", fFraction);
    fflush(stdout);
}

static int s_bReporting; // the progress lines go to a program: it reads the reason from an "error" line

// The reason a run fails: for a person on stderr, naming the file when there is one, and
// for a program reading the progress as one "error <reason>" line, which nothing else
// printed can be taken for
static int Fail(const char* pstrFile, const char* pstrWhy)
{
    if (s_bReporting) {
        printf("error %s\n", pstrWhy);
        fflush(stdout);
    }
    if (pstrFile)
        fprintf(stderr, "ambexport: '%s': %s\n", pstrFile, pstrWhy);
    else
        fprintf(stderr, "ambexport: %s\n", pstrWhy);
    return 1;
}

// The viewer's Temp folder, made if missing
static std::string ViewerTempFolder(void)
{
    char szDocuments[TW_PATH_SIZE];
    if (!twWindow_GetDocumentsFolder(szDocuments))
        return "";
    std::string temp = std::string(szDocuments) + "/Ambulon/Temp/";
    twWindow_CreateDirectory(temp.c_str());
    return temp;
}

// The model files' names on standard input, one a line, up to an empty line or the end; 0
// when none came
static int ReadNames(std::vector<std::string>* pNames)
{
    char szLine[TW_PATH_SIZE + 2];
    while (fgets(szLine, sizeof(szLine), stdin)) {
        size_t uiLen = strcspn(szLine, "\n");
        if (!szLine[uiLen] && !feof(stdin))
            return 0; // longer than any path
        if (!uiLen)
            break;
        szLine[uiLen] = 0;
        pNames->push_back(szLine);
    }
    return !pNames->empty();
}

static std::string OwnFolder(void)
{
    char szPath[TW_PATH_SIZE];
    if (!twCore_ParseCommandLine(szPath))
        return "./";
    char szDir[TW_PATH_SIZE];
    return twCore_GetDirectory(szPath, szDir) ? std::string(szDir) : std::string("./");
}

int main(int argc, char** argv)
{
    enum { kOpen = 256, kIfNone, kViewer, kScale, kZUp, kCrease, kPlaneAngle, kPlaneTolerance, kMaxTexture,
           kSunAltitude, kSunAzimuth, kProgress, kBackground, kWait, kWarm, kKeep, kNoProperties };
    static const struct option aOptions[] = {
        {"output", required_argument, nullptr, 'o'}, {"open", no_argument, nullptr, kOpen},
        {"if-none", no_argument, nullptr, kIfNone}, {"viewer", required_argument, nullptr, kViewer},
        {"scale", required_argument, nullptr, kScale}, {"z-up", no_argument, nullptr, kZUp},
        {"crease", required_argument, nullptr, kCrease}, {"plane-angle", required_argument, nullptr, kPlaneAngle},
        {"plane-tolerance", required_argument, nullptr, kPlaneTolerance},
        {"max-texture", required_argument, nullptr, kMaxTexture},
        {"sun-altitude", required_argument, nullptr, kSunAltitude},
        {"sun-azimuth", required_argument, nullptr, kSunAzimuth}, {"progress", no_argument, nullptr, kProgress},
        {"background", no_argument, nullptr, kBackground}, {"wait", no_argument, nullptr, kWait},
        {"warm", required_argument, nullptr, kWarm}, {"keep", required_argument, nullptr, kKeep},
        {"no-properties", no_argument, nullptr, kNoProperties},
        {"quiet", no_argument, nullptr, 'q'},
        {"help", no_argument, nullptr, 'h'}, {nullptr, 0, nullptr, 0},
    };
    TwExportOptions options;
    std::string output, viewer, warm;
    int bOpen = 0, bIfNone = 0, bQuiet = 0, bWait = 0, iOption;
    while ((iOption = getopt_long(argc, argv, "o:qh", aOptions, nullptr)) != -1) {
        switch (iOption) {
        case 'o': output = optarg; break;
        case kOpen: bOpen = 1; break;
        case kIfNone: bIfNone = 1; break;
        case kViewer: viewer = optarg; break;
        case kScale: options.fScale = (float)atof(optarg); break;
        case kZUp: options.bZUp = 1; break;
        case kCrease: options.fCreaseDegrees = (float)atof(optarg); break;
        case kPlaneAngle: options.fPlaneDegrees = (float)atof(optarg); break;
        case kPlaneTolerance: options.fPlaneTolerance = (float)atof(optarg); break;
        case kMaxTexture: options.iMaxTexture = atoi(optarg); break;
        case kSunAltitude: options.fSunAltitude = (float)atof(optarg); break;
        case kSunAzimuth: options.fSunAzimuth = (float)atof(optarg); break;
        case kProgress:
            options.pfnProgress = PrintProgress;
            s_bReporting = 1;
            break;
        case kBackground:
            // beside a viewer that draws: a little below it, so that its frames keep their
            // pace and the export still ends soon (measured on two cores: nice 3 leaves the
            // frames 4% slower and the sample house's reload under 0.9 s; 0 costs 21% of
            // the frames, 10 doubles the wait)
            setpriority(PRIO_PROCESS, 0, 3);
            options.pfnProgress = PrintProgress;
            s_bReporting = 1;
            break;
        case kWait: bWait = 1; break;
        case kWarm: warm = optarg; break;
        case kKeep: options.keep = optarg; break;
        case kNoProperties: options.bProperties = 0; break;
        case 'q': bQuiet = 1; break;
        case 'h': fputs(s_pstrHelp, stdout); return 0;
        default: fputs(s_pstrHelp, stderr); return 2;
        }
    }
    // the second of two names is the output, where -o names none and it is a model file
    if (!bWait && argc - optind == 2 && output.empty() && twExport_HasExtension(argv[optind + 1], ".bin"))
        output = argv[--argc];
    std::vector<std::string> inputs(argv + optind, argv + argc);
    options.ifcReader = OwnFolder() + "ifc/ifc_stream.js";
    if (bWait) {
        // the viewer's next export, started ahead: the engine's start is paid before the save
        if (!inputs.empty() || output.empty() || bOpen) {
            fputs(s_pstrHelp, stderr);
            return 2;
        }
        twExportIfc_StartWaiting(options, warm.empty() ? nullptr : warm.c_str());
        if (!ReadNames(&inputs))
            return 0; // nothing came to export
    }
    int iInputs = (int)inputs.size();
    if (iInputs < 1 || (iInputs > 1 && output.empty() && !bOpen)) {
        fputs(s_pstrHelp, stderr);
        return 2;
    }
    if (options.fScale <= 0 || options.iMaxTexture < 1 || (options.iMaxTexture & (options.iMaxTexture - 1)))
        return Fail(nullptr, "--scale must be above 0 and --max-texture a power of two");
    const char* pstrInput = inputs[0].c_str();
    if (bOpen) {
        std::string temp = ViewerTempFolder();
        if (temp.empty())
            return Fail(nullptr, "no home folder for the viewer's model");
        output = temp + "Export.bin";
    } else if (output.empty()) {
        std::string base = twCore_BaseName(pstrInput);
        output = base.substr(0, base.rfind('.')) + ".bin";
    }
    struct stat st;
    bool bKeep = bOpen && bIfNone && stat(output.c_str(), &st) == 0;
    if (!bKeep) {
        for (const std::string& input : inputs)
            if (stat(input.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
                return Fail(input.c_str(), "can't read the file");
        TwExportModel model;
        TwExportStats stats;
        std::string error;
        std::vector<std::string> skipped;
        int bOk = inputs.size() == 1 ? twExportScene_Convert(pstrInput, options, &model, &stats, &error)
                                     : twExport_ConvertMany(inputs, options, &model, &stats, &error, &skipped);
        if (!bOk)
            return Fail(inputs.size() == 1 ? pstrInput : nullptr, error.c_str());
        for (const std::string& why : skipped) {
            // for the viewer, which names the model left out
            if (s_bReporting)
                printf("skipped %s\n", why.c_str());
            fprintf(stderr, "ambexport: left out: %s\n", why.c_str());
        }
        // written beside and renamed: a failed export never destroys the model that was there
        std::vector<uint8_t> bytes = twExport_Write(model);
        if (!twExport_WriteBytes(bytes, output))
            return Fail(output.c_str(), "can't write the model");
        // every source, the ones left out too: the viewer watches them all
        std::string sources;
        for (const std::string& input : inputs) {
            char szReal[PATH_MAX];
            sources += (sources.empty() ? "" : "\t") + std::string(realpath(input.c_str(), szReal) ? szReal : input.c_str());
        }
        char szInfo[TW_PATH_SIZE];
        twWorld_SideFilePath(output.c_str(), TW_SIDE_ELEMENTS, szInfo);
        if (!twExport_WriteInfoFile(model, bytes.size(), sources, szInfo))
            fprintf(stderr, "ambexport: can't write '%s' (the viewer shows no IFC names)\n", szInfo);
        // each element's sets of values, where the source gave any
        char szProperties[TW_PATH_SIZE];
        twWorld_SideFilePath(output.c_str(), TW_SIDE_PROPERTIES, szProperties);
        bool bData = false;
        for (const TwExportElement& e : model.elements)
            bData = bData || !e.data.empty();
        int iCutAt = -1;
        if (!bData)
            unlink(szProperties); // one of an earlier export would tell of another model
        else if (!twExport_WriteBytes(twExport_WriteProperties(model, bytes.size(), &iCutAt), szProperties))
            fprintf(stderr, "ambexport: can't write '%s' (the viewer shows no properties)\n", szProperties);
        if (iCutAt >= 0)
            fprintf(stderr, "ambexport: the properties stop at element %d of %zu: the file would pass %u MB\n",
                    iCutAt + 1, model.elements.size(), TW_PROPERTIES_MAX_SIZE >> 20);
        if (options.pfnProgress)
            PrintProgress(1.0f);
        if (!bQuiet) {
            printf("wrote %s\n", output.c_str());
            printf("project: %s\n", model.projectName.c_str());
            printf("elements: %d\nmeshes: %d\ntriangles: %d\n", stats.iElements, stats.iMeshes, stats.iTriangles);
            printf("surfaces: %d\nsmooth meshes: %d\nfeature edges: %d\n", stats.iSurfaces, stats.iSmoothMeshes,
                   stats.iEdges);
            printf("doors: %d\nmaterials: %d\ntextures: %d\nlayers: %d\nleft out: %d\n", stats.iDoors,
                   stats.iMaterials, stats.iTextures, stats.iLayers, stats.iSkipped);
        }
    } else if (!bQuiet) {
        printf("kept %s\n", output.c_str());
    }
    if (bOpen) {
        if (viewer.empty())
            viewer = OwnFolder() + "Ambulon.exe";
        execl(viewer.c_str(), viewer.c_str(), (char*)nullptr);
        return Fail(viewer.c_str(), "can't start the viewer");
    }
    return 0;
}
