// The headless platform as a whole, and what it keeps of the system: the reset of every
// record and script, the cursor, a clock that tests may hold, the pumps of long work, the
// settings store in a file of the test's choosing, the Shift key and the display's profile.
#include "platform/headless/Headless.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/File.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "platform/Platform.h"
#include "platform/headless/HeadlessInternal.h"

static int Cursor;
static int WaitCursorCount;
static int BeepCount;
static int FakeClock;
static uint32_t FakeTicks;
static int PumpTotal;
static int ActionPump; // 0 for none
static void (*PumpAction)(void *context);
static void *PumpActionContext;
static char StoreFile[PATH_LENGTH];
static char StoreFolder[PATH_LENGTH];
static uint8_t *DisplayProfile; // what the desktop is said to give the display, or null
static int DisplayProfileLength;

void HeadlessReset(void)
{
    HeadlessWindowsReset();
    HeadlessDrawReset();
    HeadlessMenuReset();
    HeadlessDialogsReset();
    HeadlessProgressReset();
    Cursor = CURSOR_ARROW;
    WaitCursorCount = 0;
    BeepCount = 0;
    FakeClock = 0;
    PumpTotal = 0;
    ActionPump = 0;
    StoreFile[0] = 0;
    StoreFolder[0] = 0;
    HeadlessSetDisplayProfile(nullptr, 0);
}

int HeadlessCursor(void)
{
    return Cursor;
}

int HeadlessWaitCursorCount(void)
{
    return WaitCursorCount;
}

void PlatformBeep(void)
{
    BeepCount++;
}

int HeadlessBeepCount(void)
{
    return BeepCount;
}

void HeadlessSetTicks(uint32_t ticks)
{
    FakeClock = 1;
    FakeTicks = ticks;
}

int HeadlessPumpCount(void)
{
    return PumpTotal;
}

void HeadlessActAtPump(int pump, void (*action)(void *context), void *context)
{
    ActionPump = pump;
    PumpAction = action;
    PumpActionContext = context;
}

void PlatformSetCursor(int cursor)
{
    Cursor = cursor;
    if (cursor == CURSOR_WAIT) WaitCursorCount++;
}

uint32_t PlatformTickCount(void)
{
    if (FakeClock) return FakeTicks;
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (uint32_t)((uint64_t)now.tv_sec * 1000 + (uint64_t)now.tv_nsec / 1000000);
}

void PlatformPumpMessages(void)
{
    PumpTotal++;
    if (ActionPump > 0 && PumpTotal == ActionPump) {
        ActionPump = 0;
        PumpAction(PumpActionContext);
    }
}

void HeadlessSetSettingsFile(const char *path)
{
    StrCopyLimit(path, StoreFile, PATH_LENGTH - 1);
}

void HeadlessSetSettingsFolder(const char *path)
{
    StrCopyLimit(path, StoreFolder, PATH_LENGTH - 1);
}

void HeadlessSetShift(int down)
{
    HeadlessKeys = down ? (HeadlessKeys | KEYS_SHIFT) : (HeadlessKeys & ~KEYS_SHIFT);
}

void HeadlessSetDisplayProfile(const uint8_t *bytes, int length)
{
    MemoryRelease(&DisplayProfile);
    DisplayProfileLength = 0;
    if (bytes == nullptr || length <= 0) return;
    DisplayProfile = (uint8_t *)MemoryAlloc((size_t)length);
    if (DisplayProfile == nullptr) return;
    memcpy(DisplayProfile, bytes, (size_t)length);
    DisplayProfileLength = length;
}

int PlatformDisplayProfile(uint8_t **bytes, int32_t *length)
{
    *bytes = nullptr;
    *length = 0;
    if (DisplayProfile == nullptr) return 0;
    *bytes = (uint8_t *)MemoryAlloc((size_t)DisplayProfileLength);
    if (*bytes == nullptr) return 0;
    memcpy(*bytes, DisplayProfile, (size_t)DisplayProfileLength);
    *length = DisplayProfileLength;
    return 1;
}

// A store larger than this is not one we wrote; it reads as empty and is not rewritten.
static const int64_t STORE_SIZE_MAX = 16 * 1024 * 1024;

// The whole store file in memory, or an empty one. Returns 0 when a file exists but cannot
// be read, so that a write never replaces what it could not see.
static int StoreLoad(char **text, int64_t *size)
{
    FileHandle file = FILE_HANDLE_NONE;
    int loaded = 0;
    *text = nullptr;
    *size = 0;
    if (FileOpenRead(StoreFile, &file) != ERROR_NONE) return 1; // no store yet
    int64_t length = 0;
    if (FileSize(file, &length) != ERROR_NONE || length > STORE_SIZE_MAX) goto done;
    *text = (char *)MemoryAlloc((size_t)length + 1);
    if (*text == nullptr) goto done;
    if (length > 0 && FileReadExact(file, *text, length) != ERROR_NONE) goto done;
    (*text)[length] = 0;
    *size = length;
    loaded = 1;
done:
    FileClose(&file);
    if (!loaded) {
        MemoryRelease(text);
        *size = 0;
    }
    return loaded;
}

// Appends text escaped to out, which the caller sized at twice the text's length.
static int64_t StoreEscape(const char *text, char *out)
{
    int64_t length = 0;
    for (; *text != 0; text++) {
        char c = *text;
        const char *escape = c == '\\'   ? "\\\\"
                             : c == '\t' ? "\\t"
                             : c == '\n' ? "\\n"
                             : c == '\r' ? "\\r"
                                         : nullptr;
        if (escape != nullptr) {
            out[length++] = escape[0];
            out[length++] = escape[1];
        } else {
            out[length++] = c;
        }
    }
    return length;
}

// The fields of one line of the store: pointers into the text and their escaped lengths.
struct StoreLine {
    const char *key;
    int64_t keyLength;
    const char *name;
    int64_t nameLength;
    const char *value;
    int64_t valueLength;
    int64_t next; // offset of the following line
};

// Splits the line at offset; returns 0 for a line without its three fields, which readers
// skip and writers keep as it is.
static int StoreSplit(const char *text, int64_t size, int64_t offset, StoreLine *line)
{
    int64_t end = offset;
    while (end < size && text[end] != '\n')
        end++;
    line->next = end < size ? end + 1 : end;
    const char *fields[3];
    int64_t starts[3] = {offset, 0, 0};
    int count = 1;
    for (int64_t i = offset; i < end && count < 3; i++) {
        if (text[i] == '\t') starts[count++] = i + 1;
    }
    if (count < 3) return 0;
    for (int i = 0; i < 3; i++)
        fields[i] = text + starts[i];
    line->key = fields[0];
    line->keyLength = starts[1] - 1 - starts[0];
    line->name = fields[1];
    line->nameLength = starts[2] - 1 - starts[1];
    line->value = fields[2];
    line->valueLength = end - starts[2];
    return 1;
}

static int StoreFieldIs(const char *field, int64_t length, const char *escaped,
                        int64_t escapedLength)
{
    return length == escapedLength && memcmp(field, escaped, (size_t)length) == 0;
}

// The escaped forms of a key and a name, which is how the file holds them.
struct StoreName {
    char *key;
    int64_t keyLength;
    char *name;
    int64_t nameLength;
};

static int StoreNameMake(const char *key, const char *name, StoreName *escaped)
{
    escaped->key = (char *)MemoryAlloc(2 * strlen(key) + 1);
    escaped->name = (char *)MemoryAlloc(2 * strlen(name) + 1);
    if (escaped->key == nullptr || escaped->name == nullptr) return 0;
    escaped->keyLength = StoreEscape(key, escaped->key);
    escaped->nameLength = StoreEscape(name, escaped->name);
    return 1;
}

static void StoreNameFree(StoreName *escaped)
{
    MemoryRelease(&escaped->key);
    MemoryRelease(&escaped->name);
}

// Writes the line of one value into out and returns its length.
static int64_t StorePutLine(const StoreName *escaped, const char *value, char *out)
{
    int64_t length = 0;
    memcpy(out, escaped->key, (size_t)escaped->keyLength);
    length += escaped->keyLength;
    out[length++] = '\t';
    memcpy(out + length, escaped->name, (size_t)escaped->nameLength);
    length += escaped->nameLength;
    out[length++] = '\t';
    length += StoreEscape(value, out + length);
    out[length++] = '\n';
    return length;
}

int PlatformSettingsRead(const char *key, const char *name, char *value, int capacity)
{
    char *text = nullptr;
    int64_t size = 0;
    int found = 0;
    StoreName escaped = {};
    if (capacity > 0) value[0] = 0;
    if (StoreFile[0] == 0 || capacity <= 0) return 0;
    if (!StoreLoad(&text, &size) || text == nullptr) goto done;
    if (!StoreNameMake(key, name, &escaped)) goto done;
    for (int64_t offset = 0; offset < size && !found;) {
        StoreLine line;
        int complete = StoreSplit(text, size, offset, &line);
        offset = line.next;
        if (!complete || !StoreFieldIs(line.key, line.keyLength, escaped.key, escaped.keyLength) ||
            !StoreFieldIs(line.name, line.nameLength, escaped.name, escaped.nameLength))
            continue;
        // Undo the escapes while copying, cut at the caller's capacity.
        int length = 0;
        for (int64_t i = 0; i < line.valueLength && length < capacity - 1; i++) {
            char c = line.value[i];
            if (c == '\\' && i + 1 < line.valueLength) {
                char next = line.value[++i];
                c = next == 't' ? '\t' : next == 'n' ? '\n' : next == 'r' ? '\r' : next;
            }
            if (c == 0) break; // a zero byte in a damaged file ends the value
            value[length++] = c;
        }
        value[length] = 0;
        found = 1;
    }
done:
    StoreNameFree(&escaped);
    MemoryFree(text);
    return found;
}

void PlatformSettingsWrite(const char *key, const char *name, const char *value)
{
    char *text = nullptr;
    char *out = nullptr;
    int64_t size = 0;
    int64_t length = 0;
    int replaced = 0;
    StoreName escaped = {};
    SafeFile safe;
    SafeFileReset(&safe);
    if (StoreFile[0] == 0) return;
    if (!StoreLoad(&text, &size)) goto done;
    if (!StoreNameMake(key, name, &escaped)) goto done;
    {
        // The new line: both names, the value, tabs and a line feed, at most doubled by
        // escapes; plus the old text and a line feed that an unfinished last line may need.
        size_t valueLength = strlen(value);
        size_t capacity = (size_t)size + (size_t)escaped.keyLength + (size_t)escaped.nameLength +
                          2 * valueLength + 8;
        out = (char *)MemoryAlloc(capacity);
        if (out == nullptr) goto done;
    }
    for (int64_t offset = 0; offset < size;) {
        StoreLine line;
        int64_t start = offset;
        int complete = StoreSplit(text, size, offset, &line);
        offset = line.next;
        if (complete && StoreFieldIs(line.key, line.keyLength, escaped.key, escaped.keyLength) &&
            StoreFieldIs(line.name, line.nameLength, escaped.name, escaped.nameLength)) {
            if (replaced) continue; // a second copy of the value goes
            replaced = 1;
            length += StorePutLine(&escaped, value, out + length);
            continue;
        }
        memcpy(out + length, text + start, (size_t)(offset - start));
        length += offset - start;
        if (length > 0 && out[length - 1] != '\n') out[length++] = '\n';
    }
    if (!replaced) length += StorePutLine(&escaped, value, out + length);
    if (SafeFileCreate(StoreFile, &safe) != ERROR_NONE) goto done;
    if (FileWrite(safe.file, out, length) != ERROR_NONE) goto done;
    SafeFileCommit(&safe);
done:
    SafeFileAbandon(&safe);
    StoreNameFree(&escaped);
    MemoryFree(out);
    MemoryFree(text);
}

void PlatformSettingsFolder(char *path, int capacity)
{
    if (capacity <= 0) return;
    StrCopyLimit(StoreFolder, path, capacity - 1);
}

int PlatformShiftDown(void)
{
    return (HeadlessKeys & KEYS_SHIFT) != 0;
}
