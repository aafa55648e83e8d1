// libFuzzer target of the GIF reader (giflib behind our checks) and of the palette
// reduction. A picture it reads is saved again, which runs the palette on whatever colors the input
// held. The input is also taken as the pixels of a small color picture and reduced directly,
// dithered or not, and every index must name an entry of the palette.
#include "core/Image.h"
#include "files/Gif.h"
#include "files/GifPalette.h"
#include "tests/fuzz/FileFuzzSupport.h"

// The input as a color picture of up to 64 pixels a row, reduced and mapped.
static void FuzzPalette(const uint8_t *data, size_t size)
{
    if (size < 5) return;
    int w = 1 + data[0] % 64;
    int dither = data[1] & 1;
    int h = (int)((size - 2) / 3 / (size_t)w);
    if (h < 1) return;
    if (h > 256) h = 256;
    Image image;
    ImageClear(&image);
    if (ImageAlloc(&image, TYPE_COLOR24, w, h, 72.0) != ERROR_NONE) return;
    const uint8_t *pixel = data + 2;
    for (int y = 0; y < h; y++)
        for (int x = 0; x < 3 * w; x++)
            image.rows[y][x] = *pixel++;
    GifPalette palette;
    GifPaletteMapper mapper;
    uint8_t indices[64];
    GifPaletteMapperReset(&mapper);
    if (GifPaletteChoose(&image, &palette) == ERROR_NONE &&
        GifPaletteMapperOpen(&palette, w, dither, &mapper) == ERROR_NONE) {
        if (palette.count < 1 || palette.count > GIF_PALETTE_MAX) abort();
        for (int y = h - 1; y >= 0; y--) {
            GifPaletteMapperRow(&mapper, image.rows[y], indices);
            for (int x = 0; x < w; x++)
                if (indices[x] >= palette.count) abort();
        }
    }
    GifPaletteMapperClose(&mapper);
    ImageFree(&image);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FileDamage damage; // a file that ends early gives the rows it holds
    const char *path = FuzzWriteInput(data, size, "gif");
    if (path != nullptr) {
        static Picture window;
        if (ReadGifFile(path, &window, 0, &damage) == ERROR_NONE &&
            (int64_t)window.image.width * window.image.height <= 65536)
            SaveGifFile(FuzzFilePath(1), &window, size & 1);
        ImageFree(&window.image);
        FreeFileComments(&window.comments);
    }
    FuzzPalette(data, size);
    return 0;
}
