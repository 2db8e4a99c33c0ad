// Writes the fuzz targets' seeds as the viewer itself writes its files: the small house
// opened where the CAD host leaves a model, lit by a light job, a gallery of a view and a
// clip, the settings, the sun's date and place, the picture's choices, and a published copy, whose own entries
// are packed again behind a few bytes of program so that the pack fits a fuzz input. Needs
// a display.
//
//   write_seeds <seeds folder>      (writes into its pack/, settings/, gallery/ and model/, and
//                                    building.ifc, an IFC file for the IFC reader's seeds)
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "engine/engine.h"
#include "engine/strings.h"
#include "interface/gallery.h"
#include "light/light.h"
#include "navigation/camera.h"
#include "tools/harness/harness.h"
#include "tools/harness/samples.h"
#include "world/world.h"

static int Fail(const char* pstrWhat)
{
    fprintf(stderr, "write_seeds: %s\n", pstrWhat);
    return 1;
}

// The resources of a program file, each as its own file in a folder; their paths in pack order
static std::vector<std::string> Unpack(const std::string& program, const std::string& folder)
{
    std::vector<std::string> paths;
    std::string file = twHarness_ReadFile(program);
    uint32_t uiCount = 0;
    if (file.size() < 8 || file.compare(file.size() - 4, 4, TW_PACK_MAGIC) != 0)
        return paths;
    memcpy(&uiCount, file.data() + file.size() - 8, 4);
    if ((uint64_t)uiCount * sizeof(TwPackEntry) > file.size() - 8)
        return paths;
    size_t uiDir = file.size() - 8 - (size_t)uiCount * sizeof(TwPackEntry);
    mkdir(folder.c_str(), 0755);
    for (uint32_t i = 0; i < uiCount; i++) {
        TwPackEntry e;
        memcpy(&e, file.data() + uiDir + i * sizeof(TwPackEntry), sizeof(e));
        e.szName[TW_PACK_NAME_SIZE - 1] = 0;
        if ((uint64_t)e.uiOffset + e.uiSize > uiDir || strchr(e.szName, '/'))
            continue;
        paths.push_back(folder + e.szName);
        twHarness_WriteText(paths.back(), file.substr(e.uiOffset, e.uiSize));
    }
    return paths;
}

int main(int argc, char** argv)
{
    if (argc != 2)
        return Fail("usage: write_seeds <seeds folder>");
    std::string seeds = std::string(argv[1]) + "/";
    TwExportModel house = twSample_SmallHouse();
    if (!twHarness_StartEngine(320, 240, &house))
        return Fail("the engine doesn't start");
    std::string dir = twHarness_Dir(), temp = dir + "Temp/", data = std::string(AMB_BUILD_DIR) + "/";

    // the light, as after the frames that stamp the groups
    for (int g = 0; g < pWorld->iNumElementGroups; g++)
        pWorld->pElementGroups[g].uiVisibleFrame = 1;
    pWorld->iLightQuality = 0;
    if (!twEngine_PrepareLight() || !twEngine_RunLight(0))
        return Fail("the light job fails");

    // a view, and a clip of three keys along the house
    TwNavpoint nav;
    twGallery_NavpointFromCamera(pCam, pEngine->iSunAzimuth, pEngine->iSunAltitude, &nav);
    for (int k = 0; k < 3; k++) {
        TwGalleryKey* pKey = &pGallery->pRecKeys[k];
        memset(pKey, 0, sizeof(*pKey));
        pKey->vPos[0] = 1.0f + k;
        pKey->vPos[1] = 1.6f;
        pKey->vPos[2] = -4.0f;
        pKey->fYaw = 10.0f * k;
        pKey->fOrthoHalfWidth = 10.0f;
    }
    pGallery->iNumKeys = 3;
    pEngine->sunPlace.bFollow = 1;
    if (!twGallery_AddAngle("Entrance", &nav) || !twGallery_AddClip("Along the front") || !twEngine_SaveGallery() ||
        !twEngine_LoadSaveSettings(nullptr, 1) || !twEngine_LoadSaveSunPlace(nullptr, 0, 1))
        return Fail("the gallery, settings or sun can't be saved");
    if (!twEngine_Save(0, (dir + "Copy.exe").c_str()))
        return Fail("the copy can't be published");

    // the copy's resources behind a program of a few bytes
    std::vector<std::string> all = Unpack(dir + "Copy.exe", dir + "copy/"), resources;
    // what the copy carries of the user's, without the program's own words and pictures
    for (const std::string& path : all) {
        std::string name = path.substr(path.rfind('/') + 1);
        if (name == "Export.bin" || name == TW_SETTINGS_FILE || name == TW_GALLERY_FILE ||
            name == TW_SUN_PLACE_FILE || name.compare(0, 5, "Light") == 0)
            resources.push_back(path);
    }
    if (resources.empty())
        return Fail("the copy holds no pack");
    std::string bare = dir + "bare";
    twHarness_WriteText(bare, "bare program");
    std::string command = std::string("'") + data + "make_pack' '" + seeds + "pack/copy.exe' '" + bare + "'";
    for (const std::string& path : resources)
        command += " '" + path + "'";
    for (const char* pstrFolder : {"pack", "settings", "gallery", "model"})
        mkdir((seeds + pstrFolder).c_str(), 0755);
    if (system(command.c_str()) != 0)
        return Fail("make_pack fails");
    twHarness_WriteText(seeds + "settings/written.bin", twHarness_ReadFile(temp + TW_SETTINGS_FILE));
    twHarness_WriteText(seeds + "settings/sun_written.bin", twHarness_ReadFile(temp + TW_SUN_PLACE_FILE));
    if (!twEngine_LoadSavePicture(1))
        return Fail("the picture's choices can't be saved");
    twHarness_WriteText(seeds + "settings/picture_written.bin", twHarness_ReadFile(temp + TW_PICTURE_FILE));
    twHarness_WriteText(seeds + "gallery/written.bin", twHarness_ReadFile(temp + TW_GALLERY_FILE));
    twHarness_WriteText(seeds + "model/small_house.bin", twHarness_ReadFile(temp + "Export.bin"));
    // the IFC reader's seeds are this building's stream, which the IFC engine writes
    twHarness_WriteText(seeds + "building.ifc", twSample_IfcBuilding("IFC4", 500000, 5200000, 0, 300000, 5000000));
    printf("write_seeds: a copy of %d resources, its gallery, settings and sun into %s\n", (int)resources.size(),
           seeds.c_str());
    twEngine_Shutdown();
    return 0;
}
