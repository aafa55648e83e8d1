// Gamma Adjust: each sample, normalised to 0..1, raised to the power of the factor.
//
// The model of every transformation: one compute function that pulls rows from a RowReader,
// looks each sample up in a table built for this run, and pushes rows into a RowWriter, so
// that the same code serves a preview at any zoom and Apply on the whole picture.
#include "transforms/GammaAdjust.h"

#include <cmath>
#include <cstddef>

#include "core/Helpers.h"
#include "core/Memory.h"

const double GAMMA_INPUT_VALUES[GAMMA_INPUT_COUNT] = {1.0, 1.4, 1.8, 2.22};

static const int GAMMA_TABLE16_SIZE = 65536;

void GammaSettingsDefault(GammaSettings *settings)
{
    settings->factor = 1.0;
    settings->inputGammaIndex = 3; // 2.22, the gamma most pictures are encoded with
    AmountSettingDefault(&settings->amount, "Amount: ", 0);
}

int GammaChangesNothing(const void *params, const Image *source, int full)
{
    const GammaSettings *settings = (const GammaSettings *)params;
    return (settings->factor == 1.0 || AmountIsAllZero(&settings->amount)) && source != nullptr &&
           ComputeOutputType(source->type, full) != TYPE_EMPTY;
}

// Table8[i] = Round((i / 255)^factor * 255).
static void GammaBuildTable8(double factor, uint8_t *table)
{
    for (int i = 0; i < 256; i++)
        table[i] = (uint8_t)Round(pow(i / 255.0, factor) * 255.0);
}

// Table16[i] = Round((i / 65535)^factor * 65535); built only for a 16-bit final result.
static void GammaBuildTable16(double factor, uint16_t *table)
{
    for (int i = 0; i < GAMMA_TABLE16_SIZE; i++)
        table[i] = (uint16_t)Round(pow(i / 65535.0, factor) * 65535.0);
}

// One row through a table: samples of type In looked up into samples of type Out. A 16-bit
// sample of a preview is first reduced through Depth16To8, so that an 8-bit table serves it.
template <typename In, typename Out, typename Table>
static void GammaRow(const RowRun *run, const uint8_t *in, uint8_t *out)
{
    const In *samples = (const In *)in;
    const Table *table = (const Table *)run->state;
    Out *results = (Out *)out;
    for (int i = 0; i < run->samples; i++) {
        int s = samples[i];
        if (sizeof(In) == 2 && sizeof(Out) == 1) s = Depth16To8[s];
        results[i] = (Out)table[s];
    }
}

// The table of this run (16-bit only for a 16-bit result) and the row function for it.
static ErrorCode GammaSetup(RowRun *run)
{
    const GammaSettings *settings = (const GammaSettings *)run->params;
    int sixteen = run->outputType == TYPE_GRAY16 || run->outputType == TYPE_COLOR48;
    int narrowed =
        !sixteen && (run->source->type == TYPE_GRAY16 || run->source->type == TYPE_COLOR48);
    run->state = MemoryAlloc(sixteen ? sizeof(uint16_t) * GAMMA_TABLE16_SIZE : 256);
    if (run->state == nullptr) return ERROR_NO_MEMORY;
    if (sixteen) {
        GammaBuildTable16(settings->factor, (uint16_t *)run->state);
        run->row = GammaRow<uint16_t, uint16_t, uint16_t>;
    } else {
        GammaBuildTable8(settings->factor, (uint8_t *)run->state);
        run->row =
            narrowed ? GammaRow<uint16_t, uint8_t, uint8_t> : GammaRow<uint8_t, uint8_t, uint8_t>;
    }
    return ERROR_NONE;
}

static void GammaCleanup(RowRun *run)
{
    MemoryRelease(&run->state);
}

// The bar counts to 2 h - 1 while the rows step only to h - 1: Gamma Adjust's bar has always
// stopped halfway, and its users know the time left it shows.
static void GammaMix(const void *params, RowMix *mix)
{
    AmountMix(&((const GammaSettings *)params)->amount, mix);
}

// One table for every channel, so rows red first go through as they are.
static const RowTransform GAMMA_ROWS = {"Gamma Adjust", 2,        nullptr, GammaSetup,
                                        GammaCleanup,   GammaMix, 1};

ErrorCode GammaCompute(const Image *source, Image *destination, Picture *picture, void *params,
                       int full, int destinationWidth, int destinationHeight, int sourceX,
                       int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h)
{
    (void)picture; // a result has nothing of this transformation's own but its pixels
    return ComputeRows(&GAMMA_ROWS, source, destination, params, full, destinationWidth,
                       destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
}

// Pictures with samples to raise: 8 and 16-bit gray and color.
static int GammaAccepts(int type)
{
    return ComputeOutputType(type, 1) != TYPE_EMPTY;
}

static void GammaDefaults(void *settings)
{
    GammaSettingsDefault((GammaSettings *)settings);
}

static const TransformOption GAMMA_OPTIONS[] = {
    {"--factor", "F", OPTION_REAL, OPTION_REQUIRED | OPTION_MINIMUM_OPEN, 0.0, 100.0, nullptr, 0,
     offsetof(GammaSettings, factor), 0, "the exponent each normalised sample is raised to",
     "the gamma factor must be a number above 0 and at most 100", nullptr},
};

const TransformDescriptor GammaTransform = {"Gamma Adjust",
                                            "gamma",
                                            "Gamma Adjust with exponent F",
                                            "&Gamma Adjust...",
                                            MENU_IMAGE_DIALOG,
                                            COMMAND_GAMMA,
                                            KIND_GAMMA,
                                            GammaCompute,
                                            GammaAccepts,
                                            nullptr,
                                            GammaChangesNothing,
                                            nullptr,
                                            TRANSFORM_PROFILE_INHERIT,
                                            1,
                                            (int32_t)offsetof(GammaSettings, amount),
                                            sizeof(GammaSettings),
                                            GammaDefaults,
                                            nullptr,
                                            GAMMA_OPTIONS,
                                            1,
                                            nullptr,
                                            nullptr,
                                            &GAMMA_ROWS};
