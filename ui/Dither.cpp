// The 236-color display: its palette and the ordered dither of view rows into it.
//
// A display of 256 colors with a palette keeps 20 entries for the system; the other 236
// hold 20 grays and a cube of six levels a channel. A view pixel takes the palette level at
// or below it, and the next one up when its distance above that level exceeds the threshold
// of its place in an 8 by 8 matrix, which spreads the error into a fine regular pattern.
#include "ui/Display.h"

static const int PALETTE_GRAYS = 20;          // entries 0..19
static const int PALETTE_LEVELS = 6;          // levels a channel of the color cube
static const int GRAY_THRESHOLD_SCALE = 1216; // the matrix's 1..64 to 0..13 for 19 gray steps
static const int COLOR_THRESHOLD_SCALE = 320; // to 0..51 for the cube's 5 steps

// The ordered-dither matrix, by rows.
static constexpr uint8_t DITHER_MATRIX[64] = {
    1,  33, 9,  41, 3,  35, 11, 43, //
    49, 17, 57, 25, 51, 19, 59, 27, //
    13, 45, 5,  37, 15, 47, 7,  39, //
    61, 29, 53, 21, 63, 31, 55, 23, //
    4,  36, 12, 44, 2,  34, 10, 42, //
    52, 20, 60, 28, 50, 18, 58, 26, //
    16, 48, 8,  40, 14, 46, 6,  38, //
    64, 32, 56, 24, 62, 30, 54, 22, //
};

struct DitherThresholds {
    uint8_t gray[64];
    uint8_t color[64];
};

// The two threshold tables, made from the matrix in integer division; the compiler makes
// them once.
static constexpr DitherThresholds DitherThresholdsMake(void)
{
    DitherThresholds tables = {};
    for (int i = 0; i < 64; i++) {
        tables.gray[i] = (uint8_t)(DITHER_MATRIX[i] * 255 / GRAY_THRESHOLD_SCALE);
        tables.color[i] = (uint8_t)(DITHER_MATRIX[i] * 255 / COLOR_THRESHOLD_SCALE);
    }
    return tables;
}

static constexpr DitherThresholds THRESHOLDS = DitherThresholdsMake();

// The palette gray for value v, raised by one when v lies more than t above its level.
static inline uint8_t DitherGray(int v, int t)
{
    int g = v * (PALETTE_GRAYS - 1) / 255;
    int level = g * 255 / (PALETTE_GRAYS - 1);
    return (uint8_t)(v - level > t ? g + 1 : g);
}

// The cube level of channel value c, raised the same way.
static inline int DitherLevel(int c, int t)
{
    int k = c * (PALETTE_LEVELS - 1) / 255;
    int level = k * 255 / (PALETTE_LEVELS - 1);
    return c - level > t ? k + 1 : k;
}

void DitherRow(const uint8_t *row, int type, int width, int y, uint8_t *indices)
{
    int matrixRow = ((y % 8) + 8) % 8 * 8;
    const uint8_t *gray = THRESHOLDS.gray + matrixRow;
    const uint8_t *color = THRESHOLDS.color + matrixRow;
    for (int x = 0; x < width; x++) {
        switch (type) {
        case TYPE_BINARY: indices[x] = DitherGray(BitTest(row, x) ? 255 : 0, gray[x & 7]); break;
        case TYPE_GRAY8: indices[x] = DitherGray(row[x], gray[x & 7]); break;
        case TYPE_COLOR24: {
            // The bytes in memory order, blue first: blue counts 36, green 6, red 1.
            const uint8_t *pixel = row + 3 * x;
            int t = color[x & 7];
            indices[x] = (uint8_t)(PALETTE_GRAYS + 36 * DitherLevel(pixel[0], t) +
                                   6 * DitherLevel(pixel[1], t) + DitherLevel(pixel[2], t));
            break;
        }
        default: indices[x] = 0; break;
        }
    }
}

void DitherPalette(uint8_t red[236], uint8_t green[236], uint8_t blue[236])
{
    for (int i = 0; i < PALETTE_GRAYS; i++)
        red[i] = green[i] = blue[i] = (uint8_t)(i * 255 / (PALETTE_GRAYS - 1));
    // The cube: the entry of levels (r, g, b) stands at 20 + 36 b + 6 g + r.
    for (int i = 0; i < PALETTE_LEVELS * PALETTE_LEVELS * PALETTE_LEVELS; i++) {
        int r = i % PALETTE_LEVELS;
        int g = i / PALETTE_LEVELS % PALETTE_LEVELS;
        int b = i / (PALETTE_LEVELS * PALETTE_LEVELS);
        red[PALETTE_GRAYS + i] = (uint8_t)(r * 255 / (PALETTE_LEVELS - 1));
        green[PALETTE_GRAYS + i] = (uint8_t)(g * 255 / (PALETTE_LEVELS - 1));
        blue[PALETTE_GRAYS + i] = (uint8_t)(b * 255 / (PALETTE_LEVELS - 1));
    }
}
