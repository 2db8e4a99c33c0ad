// The sun from a date, a clock time and a place on the earth: its altitude and its bearing
// from true north, turned into the model's plan by the angle of north there. The angles go
// into the wanted sun, which the settings apply as any other sun move. The date and place
// are kept in "Sun.bin" beside the settings, whose file is fixed.
#include <math.h>
#include <string.h>

#include "engine/engine.h"
#include "engine/log.h"
#include "engine/writer.h"
#include "world/world.h"

#define TAG "twEngine_SunPlace"
#define PI 3.14159265358979323846
#define RAD (PI / 180.0)
#define SUN_MIN_ALTITUDE 10 // the view page's range for the sun's height
#define SUN_MAX_ALTITUDE 80

static int IsLeap(int iYear) { return (iYear % 4 == 0 && iYear % 100 != 0) || iYear % 400 == 0; }

static int DaysInMonth(int iYear, int iMonth)
{
    static const int aiDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (iMonth < 1 || iMonth > 12)
        return 31;
    return aiDays[iMonth - 1] + (iMonth == 2 && IsLeap(iYear));
}

// The general solar position of the NOAA's notes: fractional year, equation of time and
// declination as short Fourier series, good to a few tenths of a degree, which is finer
// than the whole degrees the sun is set in
void twEngine_SunPosition(const TwSunPlace* p, double* pdAltitude, double* pdAzimuth)
{
    int iDayOfYear = p->iDay;
    for (int m = 1; m < p->iMonth && m <= 12; m++)
        iDayOfYear += DaysInMonth(p->iYear, m);
    double dClock = p->iHour + p->iMinute / 60.0;
    double dUtc = dClock - p->fUtcOffset;
    double g = 2.0 * PI / (IsLeap(p->iYear) ? 366.0 : 365.0) * (iDayOfYear - 1 + (dUtc - 12.0) / 24.0);
    double dEquation = 229.18 * (0.000075 + 0.001868 * cos(g) - 0.032077 * sin(g) - 0.014615 * cos(2 * g) -
                                 0.040849 * sin(2 * g));
    double dDecl = 0.006918 - 0.399912 * cos(g) + 0.070257 * sin(g) - 0.006758 * cos(2 * g) +
                   0.000907 * sin(2 * g) - 0.002697 * cos(3 * g) + 0.00148 * sin(3 * g);
    // minutes of true solar time, and the hour angle: 0 at the sun's noon, west positive
    double dSolarMinutes = dClock * 60.0 + dEquation + 4.0 * p->fLongitude - 60.0 * p->fUtcOffset;
    double dHourAngle = (dSolarMinutes / 4.0 - 180.0) * RAD;
    double dLat = p->fLatitude * RAD;
    double dSinAlt = sin(dLat) * sin(dDecl) + cos(dLat) * cos(dDecl) * cos(dHourAngle);
    dSinAlt = dSinAlt < -1 ? -1 : (dSinAlt > 1 ? 1 : dSinAlt);
    *pdAltitude = asin(dSinAlt) / RAD;
    // measured from the south towards the west, then from the north
    double dAz = atan2(sin(dHourAngle), cos(dHourAngle) * sin(dLat) - tan(dDecl) * cos(dLat)) / RAD + 180.0;
    *pdAzimuth = fmod(dAz + 360.0, 360.0);
}

// The model looks along -Z to its plan's up, +X to its right; the engine's azimuth a puts
// the sun at (sin a, cos a) in X and Z, so the plan's up is 180 and its right 90
int twEngine_SunAzimuthInModel(double dAzimuth, float fNorth)
{
    double dPlan = dAzimuth + fNorth;
    int iAzimuth = (int)lround(fmod(fmod(180.0 - dPlan, 360.0) + 360.0, 360.0));
    return iAzimuth <= 0 ? 360 : (iAzimuth > 360 ? iAzimuth - 360 : iAzimuth);
}

int twEngine_ApplySunPlace(void)
{
    TwEngine* e = pEngine;
    TwSunPlace* p = &e->sunPlace;
    // the 31st of a shorter month is its last day
    int iDays = DaysInMonth(p->iYear, p->iMonth);
    if (p->iDay > iDays)
        p->iDay = iDays;
    double dAltitude, dAzimuth;
    twEngine_SunPosition(p, &dAltitude, &dAzimuth);
    int iAltitude = (int)lround(dAltitude);
    int iShown = iAltitude < SUN_MIN_ALTITUDE ? SUN_MIN_ALTITUDE : (iAltitude > SUN_MAX_ALTITUDE ? SUN_MAX_ALTITUDE : iAltitude);
    int iAzimuth = twEngine_SunAzimuthInModel(dAzimuth, p->fNorth);
    if (dAltitude < 0)
        snprintf(e->szSunPlaceStatus, sizeof(e->szSunPlaceStatus),
                 "The sun is below the horizon (%.1f deg): shown at %d deg", dAltitude, iShown);
    else if (iShown != iAltitude)
        snprintf(e->szSunPlaceStatus, sizeof(e->szSunPlaceStatus),
                 "The sun stands %.1f deg high, %.1f deg from north: shown at %d deg", dAltitude, dAzimuth, iShown);
    else
        snprintf(e->szSunPlaceStatus, sizeof(e->szSunPlaceStatus), "The sun stands %.1f deg high, %.1f deg from north",
                 dAltitude, dAzimuth);
    if (!p->bFollow) {
        e->iSunPlaceAltitude = -1; // nothing set by the date to be moved away from
        return 0;
    }
    e->iSunPlaceAltitude = iShown;
    e->iSunPlaceAzimuth = iAzimuth;
    if (e->iSunAltitudeWanted == iShown && e->iSunAzimuthWanted == iAzimuth)
        return 0;
    e->iSunAltitudeWanted = iShown;
    e->iSunAzimuthWanted = iAzimuth;
    return 1;
}

void twEngine_CheckSunFollow(void)
{
    TwEngine* e = pEngine;
    if (!e->sunPlace.bFollow || e->iSunPlaceAltitude < 0 ||
        (e->iSunAltitudeWanted == e->iSunPlaceAltitude && e->iSunAzimuthWanted == e->iSunPlaceAzimuth))
        return;
    e->sunPlace.bFollow = 0;
    twLog(TAG, "The sun was moved by other means: it no longer follows the date\n");
}

static int InRange(int32_t i, int iMin, int iMax) { return i >= iMin && i <= iMax; }
static int InRangeF(float f, float fMin, float fMax) { return f >= fMin && f <= fMax; } // NaN fails

// A record read whole, and taken only whole
static int Check(const TwSunPlace* p)
{
    return InRange(p->bFollow, 0, 1) && InRange(p->iYear, 1900, 2100) && InRange(p->iMonth, 1, 12) &&
           InRange(p->iDay, 1, 31) && InRange(p->iHour, 0, 23) && InRange(p->iMinute, 0, 59) &&
           InRangeF(p->fLatitude, -90, 90) && InRangeF(p->fLongitude, -180, 180) &&
           InRangeF(p->fUtcOffset, -12, 14) && InRangeF(p->fNorth, 0, 360);
}

int twEngine_LoadSaveSunPlace(FILE* pFile, int64_t iSize, int bSave)
{
    TwEngine* e = pEngine;
    if (!e)
        return 0;
    char szPath[TW_PATH_SIZE];
    if ((bSave || !pFile) && !twCore_GetTempPath(TW_SUN_PLACE_FILE, szPath))
        return 0;
    if (bSave) {
        TwWriter w;
        if (!twWriter_Open(&w, szPath)) {
            twLogError(TAG, "!fopen : '%s'\n", szPath);
            return 0;
        }
        twWriter_Write(&w, TW_SUN_PLACE_TAG, 4);
        twWriter_Write(&w, &e->sunPlace, sizeof(TwSunPlace));
        return twWriter_Close(&w);
    }
    FILE* pOwn = nullptr;
    if (!pFile) {
        pOwn = pFile = fopen(szPath, "rb");
        if (!pFile)
            return 0; // none yet: the defaults stand
        iSize = -1;
    }
    uint8_t aucBytes[TW_SUN_PLACE_SIZE + 1];
    size_t uiWant = iSize >= 0 && iSize <= TW_SUN_PLACE_SIZE ? (size_t)iSize : sizeof(aucBytes);
    size_t uiRead = fread(aucBytes, 1, uiWant, pFile);
    if (pOwn)
        fclose(pOwn);
    if (uiRead != TW_SUN_PLACE_SIZE || memcmp(aucBytes, TW_SUN_PLACE_TAG, 4) != 0) {
        twLogError(TAG, "!%s isn't a date and place of %d bytes: the ones there were stay\n", TW_SUN_PLACE_FILE,
                   TW_SUN_PLACE_SIZE);
        return 0;
    }
    TwSunPlace place;
    memcpy(&place, aucBytes + 4, sizeof(place));
    if (!Check(&place)) {
        twLogError(TAG, "!%s holds a value out of range: the date and place there were stay\n", TW_SUN_PLACE_FILE);
        return 0;
    }
    e->sunPlace = place;
    twLog(TAG, "Date %04d-%02d-%02d %02d:%02d at %.2f, %.2f%s\n", place.iYear, place.iMonth, place.iDay, place.iHour,
          place.iMinute, place.fLatitude, place.fLongitude, place.bFollow ? ", the sun follows it" : "");
    return 1;
}

int twEngine_TakeSitePlace(const TwModelPlace* pPlace)
{
    if (!pEngine || !pPlace || !pPlace->bKnown || !isfinite(pPlace->dLatitude) || !isfinite(pPlace->dLongitude))
        return 0;
    TwSunPlace* p = &pEngine->sunPlace;
    p->fLatitude = (float)pPlace->dLatitude;
    p->fLongitude = (float)pPlace->dLongitude;
    p->fUtcOffset = roundf(p->fLongitude / 15.0f);
    twLog("twEngine_TakeSitePlace", "The sun stands over the site: %.4f north, %.4f east\n", pPlace->dLatitude,
          pPlace->dLongitude);
    twEngine_ApplySunPlace();
    return 1;
}
