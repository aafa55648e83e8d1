// Preferences, saved state and color settings in the settings store. Each value is read by
// tokenising its text and parsing the tokens straight into the field, so a value the parser
// refuses leaves what the parser set, as it does in every settings file.
#include "shell/Preferences.h"

#include <cmath>
#include <cstring>

#include "color/ColorSettings.h"
#include "core/FormatString.h"
#include "core/Preferences.h"
#include "core/Text.h"

static const char *const UNDO_WORDS[3] = {"none", "single", "multiple"};

static double ClampUnit(double value)
{
    return value < 0.0 ? 0.0 : (value > 1.0 ? 1.0 : value);
}

static void PreferenceInteger(const char *name, int32_t *value)
{
    SettingsStoreIntegers(SETTINGS_KEY_PREFERENCES, name, value, 1);
}

static void PreferencePath(const char *name, char *path)
{
    SettingsStoreText(SETTINGS_KEY_PREFERENCES, name, path, PATH_LENGTH);
}

void ReadPreferences(void)
{
    const char *key = SETTINGS_KEY_PREFERENCES;
    int count;
    char **tokens;
    PreferencesDefault(&Prefs);

    if (SettingsStoreTokens(key, "confirm", &count, &tokens))
        Prefs.confirm = !(count > 0 && StrEqualNoCase(tokens[0], "no"));
    SettingsStoreReals(key, "workspace", Prefs.workspace, 3);
    if (SettingsStoreTokens(key, "border", &count, &tokens)) {
        if (count > 0) ParseInteger(tokens[0], &Prefs.borderWidth);
        for (int i = 0; i < 3 && i + 1 < count; i++)
            ParseReal(tokens[i + 1], &Prefs.borderColor[i]);
    }
    // Colors are fractions of full intensity; the frame is painted with them times 255.
    for (int i = 0; i < 3; i++) {
        Prefs.workspace[i] = ClampUnit(Prefs.workspace[i]);
        Prefs.borderColor[i] = ClampUnit(Prefs.borderColor[i]);
    }
    if (Prefs.borderWidth < 0) Prefs.borderWidth = 0;

    PreferencePath("pcddirectory", Prefs.pcdDirectory);
    PreferencePath("startupdirectory", Prefs.startupDirectory);
    PreferencePath("tempdirectory", Prefs.tempDirectory);

    // Every picture's size in inches divides by this, so only a positive number will do.
    double resolution = Prefs.defaultResolution;
    if (SettingsStoreReals(key, "defaultres", &resolution, 1) && resolution > 0.0)
        Prefs.defaultResolution = resolution;

    PreferenceInteger("defaultunits", &Prefs.defaultUnits);
    PreferenceInteger("displayfullpathname", &Prefs.displayFullPathName);
    if (SettingsStoreTokens(key, "undo", &count, &tokens) && count > 0) {
        for (int i = 0; i < 3; i++)
            if (StrEqualNoCase(tokens[0], UNDO_WORDS[i])) Prefs.undo = i;
    }
    PreferenceInteger("nfilemenu", &Prefs.fileMenuLength);
    if (Prefs.fileMenuLength < 0) Prefs.fileMenuLength = 0;
    if (Prefs.fileMenuLength > RECENT_FILE_MAX) Prefs.fileMenuLength = RECENT_FILE_MAX;
    PreferenceInteger("defaultfileopentype", &Prefs.defaultFileOpenType);
    PreferenceInteger("defaultfilesavetype", &Prefs.defaultFileSaveType);
    PreferenceInteger("honorfilesavetype", &Prefs.honorFileSaveType);
    PreferenceInteger("transontop", &Prefs.transformationOnTop);
    PreferenceInteger("defaultpreview", &Prefs.defaultPreview);
    PreferenceInteger("smoothzoomflag", &Prefs.smoothZoom);
    PreferenceInteger("showruler", &Prefs.showRuler);
    PreferenceInteger("resampling_method", &Prefs.resamplingMethod);
    PreferenceInteger("maxpreviewsize", &Prefs.maxPreviewSize);
    PreferenceInteger("stickysettings", &Prefs.stickySettings);
}

void WritePreferences(void)
{
    const char *key = SETTINGS_KEY_PREFERENCES;
    const Preferences *p = &Prefs;
    int undo = p->undo >= UNDO_NONE && p->undo <= UNDO_MULTIPLE ? p->undo : UNDO_MULTIPLE;
    SettingsStoreWrite(key, "confirm", "%s", p->confirm ? "yes" : "no");
    SettingsStoreWrite(key, "workspace", "%f %f %f", p->workspace[0], p->workspace[1],
                       p->workspace[2]);
    SettingsStoreWrite(key, "border", "%d %f %f %f", p->borderWidth, p->borderColor[0],
                       p->borderColor[1], p->borderColor[2]);
    SettingsStoreWrite(key, "pcddirectory", "\"%s\"", p->pcdDirectory);
    SettingsStoreWrite(key, "startupdirectory", "\"%s\"", p->startupDirectory);
    SettingsStoreWrite(key, "tempdirectory", "\"%s\"", p->tempDirectory);
    SettingsStoreWrite(key, "defaultres", "%f", p->defaultResolution);
    SettingsStoreWrite(key, "defaultunits", "%d", p->defaultUnits);
    SettingsStoreWrite(key, "displayfullpathname", "%d", p->displayFullPathName);
    SettingsStoreWrite(key, "undo", "%s", UNDO_WORDS[undo]);
    SettingsStoreWrite(key, "nfilemenu", "%d", p->fileMenuLength);
    SettingsStoreWrite(key, "defaultfileopentype", "%d", p->defaultFileOpenType);
    SettingsStoreWrite(key, "defaultfilesavetype", "%d", p->defaultFileSaveType);
    SettingsStoreWrite(key, "honorfilesavetype", "%d", p->honorFileSaveType);
    SettingsStoreWrite(key, "transontop", "%d", p->transformationOnTop);
    SettingsStoreWrite(key, "defaultpreview", "%d", p->defaultPreview);
    SettingsStoreWrite(key, "smoothzoomflag", "%d", p->smoothZoom);
    SettingsStoreWrite(key, "showruler", "%d", p->showRuler);
    SettingsStoreWrite(key, "resampling_method", "%d", p->resamplingMethod);
    SettingsStoreWrite(key, "maxpreviewsize", "%d", p->maxPreviewSize);
    SettingsStoreWrite(key, "stickysettings", "%d", p->stickySettings);
}

static void StateIntegers(const char *name, int32_t *values, int count)
{
    SettingsStoreIntegers(SETTINGS_KEY_STATE, name, values, count);
}

static void StateText(const char *name, char *text, int capacity)
{
    SettingsStoreText(SETTINGS_KEY_STATE, name, text, capacity);
}

// Reads the numbered paths name0, name1, ... below count into list, skipping empty ones.
// Returns how many were kept.
static int StatePathList(const char *format, int count, char (*list)[PATH_LENGTH])
{
    int kept = 0;
    for (int i = 0; i < count; i++) {
        char name[32];
        FormatString(name, (int)sizeof name, format, i);
        list[kept][0] = 0;
        StateText(name, list[kept], PATH_LENGTH);
        if (list[kept][0] != 0) kept++;
    }
    return kept;
}

void ReadState(void)
{
    const char *key = SETTINGS_KEY_STATE;
    int count;
    char **tokens;
    SavedStateDefault(&Saved);
    // A State of another version is not ours to read: every value keeps its default.
    if (!SettingsStoreTokens(key, "version", &count, &tokens) || count != 1 ||
        strcmp(tokens[0], STATE_VERSION) != 0)
        return;

    int recentSlots =
        Prefs.fileMenuLength < RECENT_FILE_MAX ? Prefs.fileMenuLength : RECENT_FILE_MAX;
    Saved.recentCount = StatePathList("openfile%d", recentSlots, Saved.recentFiles);
    StateText("lastdirectory", Saved.lastDirectory, PATH_LENGTH);
    StateText("lastlytdirectory", Saved.lastLytDirectory, PATH_LENGTH);
    StateText("lastclndirectory", Saved.lastClnDirectory, PATH_LENGTH);
    StateText("lastcrvdirectory", Saved.lastCrvDirectory, PATH_LENGTH);
    StateText("lastccrvdirectory", Saved.lastCcrvDirectory, PATH_LENGTH);
    StateText("lastcbdirectory", Saved.lastCbDirectory, PATH_LENGTH);
    StateIntegers("defaultpcdres", &Saved.defaultPcdResolution, 1);
    StateIntegers("ribbonorientation", &Saved.ribbonOrientation, 1);
    StateIntegers("browse", Saved.browse, BROWSE_OPTION_COUNT);
    Saved.browseFolderCount =
        StatePathList("browsefolder%d", BROWSE_FOLDER_MAX, Saved.browseFolders);
    StateText("searchrootpath", Saved.searchRootPath, PATH_LENGTH);
    StateText("searchfilename", Saved.searchFileName, (int)sizeof Saved.searchFileName);
    StateText("searchfromdate", Saved.searchFromDate, (int)sizeof Saved.searchFromDate);
    StateText("searchtodate", Saved.searchToDate, (int)sizeof Saved.searchToDate);
    StateText("searchkeyword", Saved.searchKeyword, (int)sizeof Saved.searchKeyword);
    StateIntegers("browsesearch", Saved.browseSearch, 4);
    StateIntegers("dontshowtutorial", &Saved.dontShowTutorial, 1);
    if (SettingsStoreTokens(key, "album", &count, &tokens)) {
        for (int i = 0; i < 5 && i < count; i++)
            ParseInteger(tokens[i], &Saved.album[i]);
        for (int i = 0; i < 2 && i + 5 < count; i++)
            ParseReal(tokens[i + 5], &Saved.albumPage[i]);
    }
    StateIntegers("jpegquality", Saved.jpegQuality, 2);
    StateIntegers("fpxquality", Saved.fpxQuality, 2);
    StateIntegers("slideshow", Saved.slideShow, SLIDE_SHOW_OPTION_COUNT);
    if (SettingsStoreTokens(key, "filebrowse", &count, &tokens) && count > 0)
        StrCopyLimit(tokens[0], Saved.fileBrowse, (int)sizeof Saved.fileBrowse - 1);
    StateText("filebrowsepath", Saved.fileBrowsePath, PATH_LENGTH);
    StateIntegers("filebrowsedepth", &Saved.fileBrowseDepth, 1);
    StateIntegers("printv5bmp", &Saved.printV5Bmp, 1);
    StateIntegers("twain16bitnegotiation", &Saved.twain16BitNegotiation, 1);
    StateIntegers("twainclose", &Saved.twainClose, 1);
    StateIntegers("printfixeddpi", &Saved.printFixedDpi, 1);
    StateIntegers("printdpi", &Saved.printDpi, 1);
    StateIntegers("showimagetypeicons", &Saved.showImageTypeIcons, 1);
    StateIntegers("toolboxop", &Saved.toolboxOp, 1);
    StateIntegers("blinkrate", &Saved.blinkRate, 1);
    SettingsStoreReals(key, "cropcustom", Saved.cropCustom, 2);
    StateIntegers("readout", Saved.readout, 4);
}

// Writes count integers of values as one value "%d %d ...".
static void StateWriteIntegers(const char *name, const int32_t *values, int count)
{
    char text[SETTINGS_VALUE_MAX];
    int length = 0;
    for (int i = 0; i < count; i++)
        length +=
            FormatString(text + length, (int)sizeof text - length, i > 0 ? " %d" : "%d", values[i]);
    SettingsStoreWrite(SETTINGS_KEY_STATE, name, "%s", text);
}

static void StateWritePath(const char *name, const char *path)
{
    SettingsStoreWrite(SETTINGS_KEY_STATE, name, "\"%s\"", path);
}

void WriteState(void)
{
    const char *key = SETTINGS_KEY_STATE;
    const SavedState *s = &Saved;
    char name[32];
    SettingsStoreWrite(key, "version", "%s", STATE_VERSION);
    // Every slot of the list is written, the unused ones empty, so that a shorter list does
    // not bring back files from a longer one.
    for (int i = 0; i < Prefs.fileMenuLength && i < RECENT_FILE_MAX; i++) {
        FormatString(name, (int)sizeof name, "openfile%d", i);
        StateWritePath(name, i < s->recentCount ? s->recentFiles[i] : "");
    }
    StateWritePath("lastdirectory", s->lastDirectory);
    StateWritePath("lastlytdirectory", s->lastLytDirectory);
    StateWritePath("lastclndirectory", s->lastClnDirectory);
    StateWritePath("lastcrvdirectory", s->lastCrvDirectory);
    StateWritePath("lastccrvdirectory", s->lastCcrvDirectory);
    StateWritePath("lastcbdirectory", s->lastCbDirectory);
    StateWriteIntegers("defaultpcdres", &s->defaultPcdResolution, 1);
    StateWriteIntegers("ribbonorientation", &s->ribbonOrientation, 1);
    StateWriteIntegers("browse", s->browse, BROWSE_OPTION_COUNT);
    for (int i = 0; i < BROWSE_FOLDER_MAX; i++) {
        FormatString(name, (int)sizeof name, "browsefolder%d", i);
        StateWritePath(name, i < s->browseFolderCount ? s->browseFolders[i] : "");
    }
    StateWritePath("searchrootpath", s->searchRootPath);
    StateWritePath("searchfilename", s->searchFileName);
    StateWritePath("searchfromdate", s->searchFromDate);
    StateWritePath("searchtodate", s->searchToDate);
    StateWritePath("searchkeyword", s->searchKeyword);
    StateWriteIntegers("browsesearch", s->browseSearch, 4);
    StateWriteIntegers("dontshowtutorial", &s->dontShowTutorial, 1);
    SettingsStoreWrite(key, "album", "%d %d %d %d %d %f %f", s->album[0], s->album[1], s->album[2],
                       s->album[3], s->album[4], s->albumPage[0], s->albumPage[1]);
    StateWriteIntegers("jpegquality", s->jpegQuality, 2);
    StateWriteIntegers("fpxquality", s->fpxQuality, 2);
    StateWriteIntegers("slideshow", s->slideShow, SLIDE_SHOW_OPTION_COUNT);
    SettingsStoreWrite(key, "filebrowse", "%s", s->fileBrowse);
    StateWritePath("filebrowsepath", s->fileBrowsePath);
    StateWriteIntegers("filebrowsedepth", &s->fileBrowseDepth, 1);
    StateWriteIntegers("printv5bmp", &s->printV5Bmp, 1);
    StateWriteIntegers("twain16bitnegotiation", &s->twain16BitNegotiation, 1);
    StateWriteIntegers("twainclose", &s->twainClose, 1);
    StateWriteIntegers("printfixeddpi", &s->printFixedDpi, 1);
    StateWriteIntegers("printdpi", &s->printDpi, 1);
    StateWriteIntegers("showimagetypeicons", &s->showImageTypeIcons, 1);
    StateWriteIntegers("toolboxop", &s->toolboxOp, 1);
    StateWriteIntegers("blinkrate", &s->blinkRate, 1);
    SettingsStoreWrite(key, "cropcustom", "%f %f", s->cropCustom[0], s->cropCustom[1]);
    StateWriteIntegers("readout", s->readout, 4);
}

// The stored values of the profiles, by COLOR_PROFILE_* index.
static const char *const PROFILE_VALUES[COLOR_PROFILE_COUNT] = {
    "wcsprofile", "acsprofile", "ascsprofile", "monitorprofile", "proofprofile"};

// Reads an integer value into target when it exists and lies in minimum..maximum.
static void StoredInteger(const char *name, int minimum, int maximum, int32_t *target)
{
    int32_t value = *target;
    if (SettingsStoreIntegers(SETTINGS_KEY_COLOR, name, &value, 1) && value >= minimum &&
        value <= maximum)
        *target = value;
}

void ReadColorSettings(void)
{
    ColorSettings *settings = &CurrentColorSettings;
    int32_t engine = settings->engine;
    int32_t color[3] = {settings->gamutAlarmColor[0], settings->gamutAlarmColor[1],
                        settings->gamutAlarmColor[2]};

    StoredInteger("icmenabled", 0, 1, &settings->enabled);
    if (SettingsStoreIntegers(SETTINGS_KEY_COLOR, "colorengine", &engine, 1))
        settings->engine = ColorEngineFromValue(engine);
    for (int which = 0; which < COLOR_PROFILE_COUNT; which++)
        SettingsStoreText(SETTINGS_KEY_COLOR, PROFILE_VALUES[which],
                          ColorSettingsPath(settings, which), PATH_LENGTH);
    StoredInteger("monitorintent", 0, COLOR_INTENT_COUNT - 1, &settings->monitorIntent);
    StoredInteger("proofintent", 0, COLOR_INTENT_COUNT - 1, &settings->proofIntent);
    StoredInteger("gamutalarm", 0, 1, &settings->gamutAlarm);
    StoredInteger("onprofilemismatch", MISMATCH_ASK, MISMATCH_KEEP, &settings->onMismatch);
    if (SettingsStoreIntegers(SETTINGS_KEY_COLOR, "gamutalarmcolor", color, 3)) {
        for (int i = 0; i < 3; i++)
            if (color[i] >= 0 && color[i] <= 255) settings->gamutAlarmColor[i] = (uint8_t)color[i];
    }
    // Without color management on this machine nothing may switch it on.
    if (!settings->available) settings->enabled = 0;
}

void WriteColorSettings(void)
{
    ColorSettings *settings = &CurrentColorSettings;
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "icmenabled", "%d", settings->enabled);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "colorengine", "%d", settings->engine);
    for (int which = 0; which < COLOR_PROFILE_COUNT; which++)
        SettingsStoreWrite(SETTINGS_KEY_COLOR, PROFILE_VALUES[which], "\"%s\"",
                           ColorSettingsPath(settings, which));
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "monitorintent", "%d", settings->monitorIntent);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "proofintent", "%d", settings->proofIntent);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "gamutalarm", "%d", settings->gamutAlarm);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "gamutalarmcolor", "%d %d %d",
                       settings->gamutAlarmColor[0], settings->gamutAlarmColor[1],
                       settings->gamutAlarmColor[2]);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "onprofilemismatch", "%d", settings->onMismatch);
}
