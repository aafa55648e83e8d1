// What a transformation says about itself, once: its names, its place in the menus, its
// window kind, its compute function, the pictures it takes, its settings, and the options of
// its vistel-cli verb. transforms/Transforms.cpp lists every descriptor; the menus, the
// registration of window kinds, vistel-cli and the tests of all transformations read that
// list, so that a transformation is written in its own files and named in one line.
//
// The options are a small typed table, as an operation's declared arguments make a command
// line elsewhere: a name, a kind of value, a range, a help text and where the value lands in
// the settings record. What a table cannot say (a profile read from a file into bytes) is a
// function of the transformation's own.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/Compute.h"

struct Picture;
struct RowTransform;

// Kinds of an option's value.
enum : int32_t {
    OPTION_REAL = 0,    // a number; lands as a double
    OPTION_INTEGER = 1, // a whole number; lands as an int32_t
    OPTION_CHOICE = 2,  // one of the names, case aside; lands as its index (an int32_t)
    OPTION_PERCENT = 3, // a percentage; lands as a double
    OPTION_FILE = 4,    // a file read by the option's read function; lands as bytes and length
    OPTION_PICTURE = 5, // a picture file opened as the verb's input is; lands as a const
                        // Image * that stays valid until the run ends
    OPTION_PARSED = 6,  // a value the option's parse function puts into the settings
};

// Flags of an option.
enum : uint32_t {
    OPTION_REQUIRED = 1,         // the verb needs it
    OPTION_MINIMUM_OPEN = 2,     // the value must lie above minimum, not at it
    OPTION_CHOICE_NUMBERED = 4,  // a choice may also be given by its index
    OPTION_ABSENT_NO_CHANGE = 8, // without it, the verb saves the input as it is
};

struct TransformOption {
    const char *name;      // "--factor"
    const char *valueName; // how the help shows the value: "F", "TYPE"
    int32_t kind;          // OPTION_*
    uint32_t flags;        // OPTION_* flags
    double minimum;        // range of a number, inclusive unless OPTION_MINIMUM_OPEN
    double maximum;
    const char *const *choices; // OPTION_CHOICE: the names in index order
    int32_t choiceCount;
    size_t offset;       // where the value lands in the settings record
    size_t lengthOffset; // OPTION_FILE: where the byte count lands (an int32_t)
    const char *help;    // one line of the verb's --help
    const char *problem; // the usage message for a value it refuses
    // OPTION_FILE: reads the file at path into bytes owned by the caller (MemoryFree).
    ErrorCode (*read)(const char *path, uint8_t **bytes, int *length);
    // OPTION_PARSED: puts text into settings, or checks what the option's absence means when
    // text is null. It runs once the whole line is read and the pictures are open, in the
    // order of the table, so that it may look at the options before it. Returns 1 when
    // fine, else 0 with a message in problem.
    int (*parse)(const char *text, void *settings, char *problem, int capacity) = nullptr;
};

// How the result of Apply gets its profile.
enum : int32_t {
    TRANSFORM_PROFILE_OWN = 0,     // the compute function sets it (Change Color Profile)
    TRANSFORM_PROFILE_INHERIT = 1, // by the rules of a new picture from its input
    TRANSFORM_PROFILE_COPY = 2,    // the input's very bytes, whatever they are
};

// Where a transformation's command stands in a menu.
enum : int32_t {
    MENU_IMAGE_WHOLE = 0,  // Image, beside Copy: acts at once on the whole picture
    MENU_IMAGE_DIALOG = 1, // Image, after the separator: opens a dialog
    MENU_NONE = -1,        // in no menu: a vistel-cli verb whose dialog is still to come
    MENU_FILTER = 2,       // Filter: opens a dialog
};

constexpr int32_t TRANSFORM_NO_AMOUNT = -1;

struct TransformDescriptor {
    const char *name;      // as the in-use list and the titles show it: "Gamma Adjust"
    const char *verb;      // vistel-cli's verb: "gamma"
    const char *summary;   // one line of vistel-cli --help
    const char *menuLabel; // "&Gamma Adjust..."
    int32_t menuPlace;     // MENU_*
    int32_t command;       // the menu command's id
    int32_t kind;          // the operation code, which is also its dialog's window kind; -1
                           // for one without a dialog
    ComputeFunction compute;
    int (*accepts)(int type); // 1 for a picture type it takes
    // Its settings files' extensions, without the dot, the first its own and any others it
    // reads after a space ("cc acv amp"); null for none.
    const char *settingsExtension;
    // 1 when the settings change nothing for a source (see ChangesNothingFunction); null
    // for a transformation that always computes.
    ChangesNothingFunction changesNothing;
    // For a transformation that decides its result's profile: the profile (and its length)
    // its pixels are in, through which a preview is shown. Null for the others.
    const uint8_t *(*resultProfile)(const void *params, int *length);
    int32_t profile; // TRANSFORM_PROFILE_*
    int32_t inPlace; // 1: vistel-cli may give the input's own picture as destination
    // Where the AmountSetting lies in the settings record, for a transformation whose dialog
    // has an Amount control and whose verb takes --amount and --mask; TRANSFORM_NO_AMOUNT
    // for the others.
    int32_t amountOffset;
    size_t settingsSize; // bytes of its settings record
    void (*defaults)(void *settings);
    // Takes from the input picture what the settings point at (Change Color Profile: the
    // input's profile); null when they need nothing of it.
    void (*takeInput)(void *settings, const Picture *input);
    const TransformOption *options; // the verb's options
    int32_t optionCount;
    // The size of the result for source under settings, for a transformation whose result
    // is not the size of its input (Resize, a quarter turn); null for the others.
    void (*resultSize)(const void *settings, const Image *source, int *width, int *height);
    // For a transformation with a settings file: reads the file at path into settings (set
    // to the defaults beforehand) as the dialog's Load does, with the codes of its reader.
    // Its verb then takes that file before IN and OUT. Null for the others.
    ErrorCode (*readSettings)(const char *path, void *settings);
    // For a transformation whose Apply is ComputeRows of these rows alone, in place (and, for
    // one that decides its result's profile, resultProfile): vistel-cli may then take the
    // rows from the input file and give them to the output file a band at a time, never
    // holding the whole picture. Null for the others.
    const RowTransform *rows = nullptr;
    // For a transformation whose result is its input turned by one of the orientation codes
    // of core/Orient.h: the code its settings ask for, so that vistel-cli may turn a file a
    // band of the result at a time. Null for the others.
    int (*orientation)(const void *settings) = nullptr;
};

// The size of transform's result for source under settings.
void TransformResultSize(const TransformDescriptor *transform, const void *settings,
                         const Image *source, int *width, int *height);
