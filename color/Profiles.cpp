// ICC profiles as files. The color folders are scanned in a fixed order (user's, then
// system's; in each folder *.icm, then *.icc, then subfolders, each sorted by name), so that
// the lists and the search by description give the same answer on every run. A made display
// profile is written byte by byte here, big-endian as ICC files are; the sRGB profile comes
// from the color engine.
#include "color/Profiles.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <lcms2.h>
#include <sys/stat.h>

#include "core/FormatString.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Text.h"

static char FolderUser[PATH_LENGTH];
static char FolderSystem[PATH_LENGTH];
static char FolderBundled[PATH_LENGTH];
static int FoldersChosen = 0; // until the folders are set, they are the usual ones

static uint8_t *SrgbBytes = nullptr; // the built-in sRGB profile, made on first use
static int SrgbLength = 0;

static const char SYSTEM_COLOR_FOLDER[] = "/usr/share/color/icc";
static const char SRGB_DESCRIPTION[] = "sRGB IEC61966-2.1";

void ProfileFoldersSet(const char *userFolder, const char *systemFolder, const char *bundledFolder)
{
    StrCopyLimit(userFolder != nullptr ? userFolder : "", FolderUser, PATH_LENGTH - 1);
    StrCopyLimit(systemFolder != nullptr ? systemFolder : "", FolderSystem, PATH_LENGTH - 1);
    StrCopyLimit(bundledFolder != nullptr ? bundledFolder : "", FolderBundled, PATH_LENGTH - 1);
    FoldersChosen = 1;
}

// Sets the usual folders when nobody has chosen any.
static void FoldersEnsure(void)
{
    if (!FoldersChosen) ProfileFoldersDefault();
}

void ProfileFoldersDefault(void)
{
    // The freedesktop rule: $XDG_DATA_HOME/icc, or ~/.local/share/icc when it is not set.
    char user[PATH_LENGTH];
    const char *dataHome = getenv("XDG_DATA_HOME");
    const char *home = getenv("HOME");
    user[0] = 0;
    if (dataHome != nullptr && dataHome[0] == '/')
        FormatString(user, sizeof user, "%s/icc", dataHome);
    else if (home != nullptr && home[0] != 0)
        FormatString(user, sizeof user, "%s/.local/share/icc", home);
    ProfileFoldersSet(user, SYSTEM_COLOR_FOLDER, "");
}

const char *ProfileFolderUser(void)
{
    FoldersEnsure();
    return FolderUser;
}

const char *ProfileFolderSystem(void)
{
    FoldersEnsure();
    return FolderSystem;
}

const char *ProfileFolderBundled(void)
{
    FoldersEnsure();
    return FolderBundled;
}

ErrorCode ProfileFileRead(const char *path, uint8_t **bytes, int *length)
{
    ErrorCode result = ERROR_NONE;
    FileHandle file = FILE_HANDLE_NONE;
    int64_t size = 0;
    uint8_t *buffer = nullptr;

    *bytes = nullptr;
    *length = 0;
    result = FileOpenRead(path, &file);
    if (result != ERROR_NONE) goto done;
    result = FileSize(file, &size);
    if (result != ERROR_NONE) {
        result = ERROR_READ_FILE;
        goto done;
    }
    if (size <= 0 || size > PROFILE_FILE_MAX) {
        result = ERROR_INVALID_PROFILE;
        goto done;
    }
    buffer = (uint8_t *)MemoryAlloc((size_t)size);
    if (buffer == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    // A file that shrinks while we read it is a read error, not a shorter profile.
    if (FileReadExact(file, buffer, size) != ERROR_NONE) {
        result = ERROR_READ_FILE;
        goto done;
    }
    *bytes = buffer;
    *length = (int)size;
    buffer = nullptr;
done:
    MemoryFree(buffer);
    FileClose(&file);
    return result;
}

// A growing run of zero-terminated strings.
struct NameList {
    char *text;
    size_t used;
    size_t capacity;
    int count;
};

static void NameListFree(NameList *list)
{
    MemoryRelease(&list->text);
    *list = {};
}

// Appends folder/name, or name alone when folder is null.
static ErrorCode NameListAdd(NameList *list, const char *folder, const char *name)
{
    size_t folderLength = folder != nullptr ? strlen(folder) + 1 : 0;
    size_t needed;
    if (!SizeAdd(folderLength, strlen(name) + 1, &needed) || !SizeAdd(needed, list->used, &needed))
        return ERROR_NO_MEMORY;
    if (needed > list->capacity) {
        size_t capacity = list->capacity < 4096 ? 4096 : list->capacity;
        while (capacity < needed)
            if (!SizeMultiply(capacity, 2, &capacity)) return ERROR_NO_MEMORY;
        char *grown = (char *)MemoryAlloc(capacity);
        if (grown == nullptr) return ERROR_NO_MEMORY;
        if (list->used > 0) memcpy(grown, list->text, list->used);
        MemoryFree(list->text);
        list->text = grown;
        list->capacity = capacity;
    }
    char *at = list->text + list->used;
    if (folder != nullptr) {
        memcpy(at, folder, folderLength - 1);
        at[folderLength - 1] = '/';
        at += folderLength;
    }
    strcpy(at, name);
    list->used = needed;
    list->count++;
    return ERROR_NONE;
}

static int CompareNames(const void *a, const void *b)
{
    return strcmp(*(const char *const *)a, *(const char *const *)b);
}

// Kinds of entry that a pass of ScanFolder takes.
enum : int32_t {
    SCAN_ICM = 0,
    SCAN_ICC = 1,
    SCAN_FOLDERS = 2,
};

// 1 when the entry at path belongs to the pass.
static int ScanTakes(const char *path, const char *name, int pass)
{
    struct stat status;
    if (stat(path, &status) != 0) return 0;
    switch (pass) {
    case SCAN_ICM: return S_ISREG(status.st_mode) && !ExtensionDiffers(name, ".icm");
    case SCAN_ICC: return S_ISREG(status.st_mode) && !ExtensionDiffers(name, ".icc");
    default: return S_ISDIR(status.st_mode);
    }
}

// Adds the profile files of folder and of its subfolders, depth levels down so far, to
// files. A root that does not exist has no profiles; one that cannot be read is
// ERROR_ENUMERATE_PROFILES. Subfolders that cannot be read are passed over.
static ErrorCode ScanFolder(const char *folder, int depth, NameList *files)
{
    ErrorCode result = ERROR_NONE;
    NameList names = {};
    const char **sorted = nullptr;
    DIR *directory = opendir(folder);

    if (directory == nullptr) {
        if (depth == 0 && errno != ENOENT && errno != ENOTDIR) result = ERROR_ENUMERATE_PROFILES;
        goto done;
    }
    for (;;) {
        errno = 0;
        struct dirent *entry = readdir(directory);
        if (entry == nullptr) {
            if (errno != 0) result = ERROR_ENUMERATE_PROFILES;
            break;
        }
        if (entry->d_name[0] == '.') continue; // ".", ".." and hidden entries
        result = NameListAdd(&names, nullptr, entry->d_name);
        if (result != ERROR_NONE) break;
    }
    closedir(directory);
    if (result != ERROR_NONE || names.count == 0) goto done;

    sorted = (const char **)MemoryAlloc(sizeof(const char *) * (size_t)names.count);
    if (sorted == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    {
        const char *name = names.text;
        for (int i = 0; i < names.count; i++, name += strlen(name) + 1)
            sorted[i] = name;
    }
    qsort(sorted, (size_t)names.count, sizeof *sorted, CompareNames);

    for (int pass = SCAN_ICM; pass <= SCAN_FOLDERS && result == ERROR_NONE; pass++) {
        if (pass == SCAN_FOLDERS && depth >= PROFILE_FOLDER_DEPTH) break;
        for (int i = 0; i < names.count && result == ERROR_NONE; i++) {
            char path[PATH_LENGTH];
            if (strlen(folder) + strlen(sorted[i]) + 2 > PATH_LENGTH) continue;
            FormatString(path, sizeof path, "%s/%s", folder, sorted[i]);
            if (!ScanTakes(path, sorted[i], pass)) continue;
            if (pass == SCAN_FOLDERS) {
                result = ScanFolder(path, depth + 1, files);
                if (result == ERROR_ENUMERATE_PROFILES) result = ERROR_NONE;
            } else {
                result = NameListAdd(files, nullptr, path);
            }
        }
    }
done:
    MemoryFree(sorted);
    NameListFree(&names);
    return result;
}

// Every profile file of the color folders, in scan order.
static ErrorCode ProfilePaths(NameList *files)
{
    ErrorCode result = ERROR_NONE;
    FoldersEnsure();
    if (FolderUser[0] != 0) result = ScanFolder(FolderUser, 0, files);
    if (result == ERROR_NONE && FolderSystem[0] != 0 && strcmp(FolderSystem, FolderUser) != 0)
        result = ScanFolder(FolderSystem, 0, files);
    return result;
}

// 1 when signature is one of the blank-separated words of list.
static int SignatureInList(const char *signature, const char *list)
{
    size_t length = strlen(signature);
    const char *at = list;
    while (*at != 0) {
        while (*at == ' ')
            at++;
        const char *end = at;
        while (*end != 0 && *end != ' ')
            end++;
        if (length > 0 && (size_t)(end - at) == length && memcmp(at, signature, length) == 0)
            return 1;
        at = end;
    }
    return 0;
}

// The description of a readable, undamaged profile file that passes the filters; 0 for any
// other file.
static int ProfileFileDescribe(const char *path, const char *classes, const char *colorSpaces,
                               char *description, int capacity)
{
    uint8_t *bytes = nullptr;
    int length = 0;
    int taken = 0;
    char signature[8];

    if (ProfileFileRead(path, &bytes, &length) != ERROR_NONE) goto done;
    if (!ProfileLooksValid(bytes, length)) goto done;
    if (classes != nullptr && classes[0] != 0) {
        ProfileClass(bytes, length, signature, sizeof signature);
        if (!SignatureInList(signature, classes)) goto done;
    }
    if (colorSpaces != nullptr && colorSpaces[0] != 0) {
        ProfileColorSpace(bytes, length, signature, sizeof signature);
        if (!SignatureInList(signature, colorSpaces)) goto done;
    }
    if (ProfileDescription(bytes, length, description, capacity) != ERROR_NONE) goto done;
    taken = description[0] != 0;
done:
    MemoryFree(bytes);
    return taken;
}

// 1 when item is already one of the first used bytes of a list.
static int ListHolds(const char *list, int used, const char *item)
{
    for (int at = 0; at < used; at += (int)strlen(list + at) + 1)
        if (StrEqualNoCase(list + at, item)) return 1;
    return 0;
}

// Adds item with its terminator when it and the closing byte still fit; 0 when not.
static int ListAdd(char *list, int capacity, int *used, const char *item)
{
    int length = (int)strlen(item);
    if (*used + length + 2 > capacity) return 0;
    memcpy(list + *used, item, (size_t)length + 1);
    *used += length + 1;
    return 1;
}

ErrorCode EnumerateProfiles(const char *firstLabel, const char *secondLabel, const char *classes,
                            const char *colorSpaces, char *list, int capacity)
{
    ErrorCode result = ERROR_NONE;
    NameList files = {};
    int used = 0;
    const char *path;

    if (capacity < 1) return ERROR_ENUMERATE_PROFILES;
    if (firstLabel != nullptr && firstLabel[0] != 0 &&
        !ListAdd(list, capacity, &used, firstLabel)) {
        result = ERROR_ENUMERATE_PROFILES;
        goto done;
    }
    if (secondLabel != nullptr && secondLabel[0] != 0 && !ListHolds(list, used, secondLabel) &&
        !ListAdd(list, capacity, &used, secondLabel)) {
        result = ERROR_ENUMERATE_PROFILES;
        goto done;
    }
    result = ProfilePaths(&files);
    if (result != ERROR_NONE) goto done;
    path = files.text;
    for (int i = 0; i < files.count; i++, path += strlen(path) + 1) {
        char description[PROFILE_DESCRIPTION_MAX];
        if (!ProfileFileDescribe(path, classes, colorSpaces, description, sizeof description))
            continue;
        if (ListHolds(list, used, description)) continue;
        if (!ListAdd(list, capacity, &used, description)) {
            result = ERROR_ENUMERATE_PROFILES;
            break;
        }
    }
done:
    list[used] = 1;
    NameListFree(&files);
    return result;
}

ErrorCode FindProfileByDescription(const char *description, char *path, int capacity)
{
    ErrorCode result = ERROR_NONE;
    NameList files = {};
    const char *file;

    path[0] = 0;
    result = ProfilePaths(&files);
    if (result != ERROR_NONE) goto done;
    result = ERROR_ENUMERATE_PROFILES;
    file = files.text;
    for (int i = 0; i < files.count; i++, file += strlen(file) + 1) {
        char found[PROFILE_DESCRIPTION_MAX];
        if (!ProfileFileDescribe(file, nullptr, nullptr, found, sizeof found)) continue;
        if (!StrEqualNoCase(found, description)) continue;
        if ((int)strlen(file) >= capacity) continue;
        StrCopyLimit(file, path, capacity - 1);
        result = ERROR_NONE;
        break;
    }
done:
    NameListFree(&files);
    return result;
}

// Big-endian writers of the profile buffer.
static void PutBig16(uint8_t *buffer, int offset, uint32_t value)
{
    buffer[offset] = (uint8_t)(value >> 8);
    buffer[offset + 1] = (uint8_t)value;
}

static void PutBig32(uint8_t *buffer, int offset, uint32_t value)
{
    buffer[offset] = (uint8_t)(value >> 24);
    buffer[offset + 1] = (uint8_t)(value >> 16);
    buffer[offset + 2] = (uint8_t)(value >> 8);
    buffer[offset + 3] = (uint8_t)value;
}

static void PutSignature(uint8_t *buffer, int offset, const char *signature)
{
    memcpy(buffer + offset, signature, 4);
}

// Tag entries in the order of the table; the data follows in the same order.
enum : int32_t {
    DISPLAY_TAG_CPRT = 0,
    DISPLAY_TAG_DESC,
    DISPLAY_TAG_WTPT,
    DISPLAY_TAG_RXYZ,
    DISPLAY_TAG_GXYZ,
    DISPLAY_TAG_BXYZ,
    DISPLAY_TAG_RTRC,
    DISPLAY_TAG_GTRC,
    DISPLAY_TAG_BTRC,
    DISPLAY_TAG_COUNT,
};

static const int DISPLAY_DATA_OFFSET = 240; // after the header, the count and nine entries

// Fills entry index of the tag table and returns where the next piece of data starts,
// aligned to 4 bytes.
static int PutTagEntry(uint8_t *buffer, int index, const char *signature, int offset, int size,
                       int taken)
{
    int entry = PROFILE_TABLE_OFFSET + index * 12;
    PutSignature(buffer, entry, signature);
    PutBig32(buffer, entry + 4, (uint32_t)offset);
    PutBig32(buffer, entry + 8, (uint32_t)size);
    return RoundUp4(offset + taken);
}

// An XYZ tag of one white point or colorant; declared size 20.
static int PutXyzTag(uint8_t *buffer, int index, const char *signature, int offset,
                     const int32_t xyz[3])
{
    PutSignature(buffer, offset, "XYZ ");
    for (int i = 0; i < 3; i++)
        PutBig32(buffer, offset + 8 + 4 * i, (uint32_t)xyz[i]);
    return PutTagEntry(buffer, index, signature, offset, 20, 20);
}

// A tone curve: a table of 256 points (declared 524), or one gamma in 8.8 form (declared 14,
// taking 16 with its padding).
static int PutCurveTag(uint8_t *buffer, int index, const char *signature, int offset,
                       const uint16_t *curve, int gammaTimes256)
{
    PutSignature(buffer, offset, "curv");
    if (curve != nullptr) {
        PutBig32(buffer, offset + 8, DISPLAY_CURVE_POINTS);
        for (int i = 0; i < DISPLAY_CURVE_POINTS; i++)
            PutBig16(buffer, offset + 12 + 2 * i, curve[i]);
        return PutTagEntry(buffer, index, signature, offset, 12 + 2 * DISPLAY_CURVE_POINTS,
                           12 + 2 * DISPLAY_CURVE_POINTS);
    }
    PutBig32(buffer, offset + 8, 1);
    PutBig16(buffer, offset + 12, (uint32_t)gammaTimes256);
    return PutTagEntry(buffer, index, signature, offset, 14, 14);
}

ErrorCode DisplayProfileMake(const char *description, int gammaTimes256,
                             const DisplayColorants *colorants, const uint16_t *redCurve,
                             const uint16_t *greenCurve, const uint16_t *blueCurve, uint8_t *buffer,
                             int *length)
{
    char text[PROFILE_DESCRIPTION_MAX];
    char notice[80];
    int withTables = redCurve != nullptr && greenCurve != nullptr && blueCurve != nullptr;
    int date = DateStamp();
    int time = TimeStamp();
    int offset;
    int textLength;

    *length = 0;
    if (!withTables && (gammaTimes256 < 1 || gammaTimes256 > 65535))
        return ERROR_ILLEGAL_OUTPUT_GAMMA;
    // The longest description with tables still takes well under the buffer: 240 bytes of
    // header and table, 64 of notice, 346 of description, 80 of XYZ and 1584 of curves.
    StrCopyLimit(description != nullptr ? description : "", text, PROFILE_DESCRIPTION_MAX - 1);
    textLength = (int)strlen(text);
    memset(buffer, 0, DISPLAY_PROFILE_BUFFER);

    // The header; the total size at 0 is filled in at the end.
    PutSignature(buffer, 4, "CV&I");
    PutBig32(buffer, 8, 0x02100000); // ICC version 2.1
    PutSignature(buffer, 12, "mntr");
    PutSignature(buffer, 16, "RGB ");
    PutSignature(buffer, 20, "XYZ ");
    PutBig16(buffer, 24, (uint32_t)(date / 10000));
    PutBig16(buffer, 26, (uint32_t)(date / 100 % 100));
    PutBig16(buffer, 28, (uint32_t)(date % 100));
    PutBig16(buffer, 30, (uint32_t)(time / 10000));
    PutBig16(buffer, 32, (uint32_t)(time / 100 % 100));
    PutBig16(buffer, 34, (uint32_t)(time % 100));
    PutSignature(buffer, 36, "acsp");
    PutSignature(buffer, 40, "MSFT");
    PutSignature(buffer, 48, "N/A ");
    PutSignature(buffer, 52, "N/A ");
    PutBig32(buffer, 68, 0xf6d6); // the D50 illuminant of the connection space
    PutBig32(buffer, 72, 0x10000);
    PutBig32(buffer, 76, 0xd32d);
    PutSignature(buffer, 80, "CV&I");
    PutBig32(buffer, PROFILE_HEADER_BYTES, DISPLAY_TAG_COUNT);

    // A notice with the year, naming no person or company: the profile is the user's.
    FormatString(notice, sizeof notice, "Profile made with Vistel in %d", date / 10000);
    offset = DISPLAY_DATA_OFFSET;
    PutSignature(buffer, offset, "text");
    strcpy((char *)buffer + offset + 8, notice);
    offset = PutTagEntry(buffer, DISPLAY_TAG_CPRT, "cprt", offset, 8 + (int)strlen(notice) + 1,
                         8 + (int)strlen(notice) + 1);

    // textDescription: the ASCII text with its terminator, then 78 zero bytes for the empty
    // Unicode and ScriptCode parts.
    PutSignature(buffer, offset, "desc");
    PutBig32(buffer, offset + 8, (uint32_t)textLength + 1);
    memcpy(buffer + offset + 12, text, (size_t)textLength + 1);
    offset =
        PutTagEntry(buffer, DISPLAY_TAG_DESC, "desc", offset, textLength + 91, textLength + 91);

    offset = PutXyzTag(buffer, DISPLAY_TAG_WTPT, "wtpt", offset, colorants->white);
    offset = PutXyzTag(buffer, DISPLAY_TAG_RXYZ, "rXYZ", offset, colorants->red);
    offset = PutXyzTag(buffer, DISPLAY_TAG_GXYZ, "gXYZ", offset, colorants->green);
    offset = PutXyzTag(buffer, DISPLAY_TAG_BXYZ, "bXYZ", offset, colorants->blue);
    offset = PutCurveTag(buffer, DISPLAY_TAG_RTRC, "rTRC", offset, withTables ? redCurve : nullptr,
                         gammaTimes256);
    offset = PutCurveTag(buffer, DISPLAY_TAG_GTRC, "gTRC", offset,
                         withTables ? greenCurve : nullptr, gammaTimes256);
    offset = PutCurveTag(buffer, DISPLAY_TAG_BTRC, "bTRC", offset, withTables ? blueCurve : nullptr,
                         gammaTimes256);

    PutBig32(buffer, 0, (uint32_t)offset);
    *length = offset;
    return ERROR_NONE;
}

// Writes bytes to path through a temporary file renamed over it at the end.
static ErrorCode WriteWholeFile(const char *path, const uint8_t *bytes, int length)
{
    ErrorCode result = ERROR_NONE;
    SafeFile safe;

    SafeFileReset(&safe);
    result = SafeFileCreate(path, &safe);
    if (result != ERROR_NONE) goto done;
    result = FileWrite(safe.file, bytes, length);
    if (result != ERROR_NONE) goto done;
    result = SafeFileCommit(&safe);
done:
    SafeFileAbandon(&safe);
    return result;
}

ErrorCode CreateDisplayProfile(const char *path, const char *description, int gammaTimes256,
                               const DisplayColorants *colorants, const uint16_t *redCurve,
                               const uint16_t *greenCurve, const uint16_t *blueCurve)
{
    ErrorCode result = ERROR_NONE;
    uint8_t *buffer = (uint8_t *)MemoryAlloc(DISPLAY_PROFILE_BUFFER);
    int length = 0;

    if (buffer == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    result = DisplayProfileMake(description, gammaTimes256, colorants, redCurve, greenCurve,
                                blueCurve, buffer, &length);
    if (result != ERROR_NONE) goto done;
    result = WriteWholeFile(path, buffer, length);
done:
    MemoryFree(buffer);
    return result;
}

void CalibrationCurve(const uint8_t table[256], double displayGamma, uint16_t curve[256])
{
    for (int i = 0; i < DISPLAY_CURVE_POINTS; i++)
        curve[i] = (uint16_t)Round(pow(table[i] / 255.0, displayGamma) * 65535.0);
}

ErrorCode CreateCalibrationProfile(const char *path, const char *description,
                                   const char *temperature, const uint8_t redTable[256],
                                   const uint8_t greenTable[256], const uint8_t blueTable[256],
                                   double displayGamma)
{
    // White points of the temperatures a calibration offers, in s15Fixed16 form.
    static const struct {
        const char *temperature;
        int32_t white[3];
    } WHITES[] = {
        {"5000", {0xf6dc, 0x10000, 0xd33a}},  {"5500", {0xf4f2, 0x10000, 0xebf5}},
        {"6500", {0xf351, 0x10000, 0x116cc}}, {"7500", {0xf313, 0x10000, 0x139e2}},
        {"9300", {0xf8aa, 0x10000, 0x17075}},
    };
    // The colorants of the fixed display a calibration describes.
    DisplayColorants colorants = {
        {0, 0, 0}, {0x6fa2, 0x38f5, 0x390}, {0x6299, 0xb785, 0x18da}, {0x24a0, 0xf84, 0xb6cf}};
    uint16_t curves[3][DISPLAY_CURVE_POINTS];
    int found = -1;

    for (int i = 0; i < (int)(sizeof WHITES / sizeof WHITES[0]); i++)
        if (temperature != nullptr && strcmp(temperature, WHITES[i].temperature) == 0) found = i;
    if (found < 0) return ERROR_COLOR_TEMPERATURE;
    memcpy(colorants.white, WHITES[found].white, sizeof colorants.white);
    CalibrationCurve(redTable, displayGamma, curves[0]);
    CalibrationCurve(greenTable, displayGamma, curves[1]);
    CalibrationCurve(blueTable, displayGamma, curves[2]);
    return CreateDisplayProfile(path, description, Round(displayGamma * 256.0), &colorants,
                                curves[0], curves[1], curves[2]);
}

ErrorCode SrgbProfile(const uint8_t **bytes, int *length)
{
    ErrorCode result = ERROR_NONE;
    cmsHPROFILE profile = nullptr;
    cmsMLU *text = nullptr;
    cmsUInt32Number size = 0;
    uint8_t *made = nullptr;

    if (SrgbBytes != nullptr) goto done;
    // Made by the engine as a version 2 profile, so that its description is a plain
    // textDescription that every reader takes, and named as a standard sRGB profile is.
    profile = cmsCreate_sRGBProfile();
    text = cmsMLUalloc(nullptr, 1);
    if (profile == nullptr || text == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    cmsSetProfileVersion(profile, 2.1);
    if (!cmsMLUsetASCII(text, "en", "US", SRGB_DESCRIPTION) ||
        !cmsWriteTag(profile, cmsSigProfileDescriptionTag, text) ||
        !cmsSaveProfileToMem(profile, nullptr, &size) || size == 0) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    made = (uint8_t *)MemoryAlloc(size);
    if (made == nullptr || !cmsSaveProfileToMem(profile, made, &size)) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    SrgbBytes = made;
    SrgbLength = (int)size;
    made = nullptr;
done:
    MemoryFree(made);
    if (text != nullptr) cmsMLUfree(text);
    if (profile != nullptr) cmsCloseProfile(profile);
    *bytes = SrgbBytes;
    *length = SrgbLength;
    return result;
}

void SrgbProfileFree(void)
{
    MemoryRelease(&SrgbBytes);
    SrgbLength = 0;
}
