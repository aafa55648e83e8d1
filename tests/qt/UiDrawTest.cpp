// Drawing on the Qt platform: pictures of each type drawn into a window come out pixel for
// pixel, across the blocks an Image keeps its rows in; the exclusive-or rubber band undoes
// itself; and the sample picture in a frame, rendered at one to one, is saved as a
// screenshot for a person to look at.
#include <QMainWindow>
#include <QTest>

#include "core/Image.h"
#include "files/FileType.h"
#include "tests/qt/UiSupport.h"
#include "ui/Display.h"
#include "ui/ImageWindow.h"

struct DrawScene {
    Image color; // 2000 x 300: its rows lie in four blocks
    Image gray;
    Image binary;
};

static DrawScene Scene;
static const uint32_t BACKGROUND = 0x102030;

static void Pattern(Image *image)
{
    for (int row = 0; row < image->height; row++) {
        uint8_t *bytes = image->rows[row];
        for (int x = 0; x < image->width; x++) {
            switch (image->type) {
            case TYPE_COLOR24:
                bytes[3 * x] = (uint8_t)(x * 7 + row);
                bytes[3 * x + 1] = (uint8_t)(x + row * 3);
                bytes[3 * x + 2] = (uint8_t)(x ^ row);
                break;
            case TYPE_GRAY8: bytes[x] = (uint8_t)(x * 5 + row * 11); break;
            case TYPE_BINARY:
                if ((x + row) % 3 == 0)
                    bytes[x / 8] |= (uint8_t)(0x80 >> (x % 8));
                else
                    bytes[x / 8] &= (uint8_t) ~(0x80 >> (x % 8));
                break;
            }
        }
    }
}

// The color a shown pixel must have: x, y count from the picture's top left.
static QRgb Expected(const Image *image, int x, int y)
{
    const uint8_t *bytes = image->rows[image->height - 1 - y];
    switch (image->type) {
    case TYPE_COLOR24: return qRgb(bytes[3 * x + 2], bytes[3 * x + 1], bytes[3 * x]);
    case TYPE_GRAY8: return qRgb(bytes[x], bytes[x], bytes[x]);
    default: return BitTest(bytes, x) ? qRgb(255, 255, 255) : qRgb(0, 0, 0);
    }
}

static MessageResult PaintScene(WindowHandle, uint32_t message, uintptr_t wParam, intptr_t)
{
    if (message != MSG_PAINT) return 0;
    DrawContext *context = (DrawContext *)wParam;
    Rect all = {0, 0, 420, 300};
    PlatformFillRect(context, &all, BACKGROUND);
    Rect part = {100, 50, 399, 249}; // stored rows 50..249 cross two block ends
    PlatformDrawImage(context, &Scene.color, &part, 0, 0);
    Rect gray = {0, 0, 49, 39};
    PlatformDrawImage(context, &Scene.gray, &gray, 310, 0);
    Rect binary = {0, 0, 12, 8};
    PlatformDrawImage(context, &Scene.binary, &binary, 310, 60);
    Rect grayPart = {5, 3, 14, 7};
    PlatformDrawImage(context, &Scene.gray, &grayPart, 310, 120);
    return 0;
}

// Every pixel of a rectangle of the shot against the picture's part it shows.
static int Mismatches(const QImage &shot, const Image *image, int left, int top, int x, int y,
                      int width, int height)
{
    int wrong = 0;
    for (int j = 0; j < height; j++)
        for (int i = 0; i < width; i++)
            wrong += (shot.pixel(x + i, y + j) & 0xffffff) !=
                     (Expected(image, left + i, top + j) & 0xffffff);
    return wrong;
}

TEST_F(UiTest, PicturesOfEachTypeAreDrawnPixelForPixel)
{
    ASSERT_EQ(ImageAlloc(&Scene.color, TYPE_COLOR24, 2000, 300, 72), ERROR_NONE);
    ASSERT_GT(Scene.color.chunkCount, 2);
    ASSERT_EQ(ImageAlloc(&Scene.gray, TYPE_GRAY8, 50, 40, 72), ERROR_NONE);
    ASSERT_EQ(ImageAlloc(&Scene.binary, TYPE_BINARY, 13, 9, 72), ERROR_NONE);
    Pattern(&Scene.color);
    Pattern(&Scene.gray);
    Pattern(&Scene.binary);
    UiHook = PaintScene;
    WindowHandle window = UiChild("draw", 428, 328);
    PlatformActivateWindow(window);
    UiSettle();
    QImage shot = QtPlatformWidget(window)->grab().toImage().convertToFormat(QImage::Format_RGB32);
    UiSaveScreenshot(shot, "draw-types");
    ASSERT_EQ(shot.size(), QSize(420, 300));

    EXPECT_EQ(Mismatches(shot, &Scene.color, 100, 50, 0, 0, 300, 200), 0);
    EXPECT_EQ(Mismatches(shot, &Scene.gray, 0, 0, 310, 0, 50, 40), 0);
    EXPECT_EQ(Mismatches(shot, &Scene.binary, 0, 0, 310, 60, 13, 9), 0);
    EXPECT_EQ(Mismatches(shot, &Scene.gray, 5, 3, 310, 120, 10, 5), 0);
    // Nothing beyond a part: the pixel right of the gray part and below the color part.
    EXPECT_EQ(shot.pixel(320, 120) & 0xffffff, BACKGROUND);
    EXPECT_EQ(shot.pixel(50, 200) & 0xffffff, BACKGROUND);

    // The rubber band inverts its outline, each pixel once, and a second one restores it.
    Rect band = {5, 5, 50, 40};
    DrawContext *context = PlatformBeginDraw(window);
    ASSERT_NE(context, nullptr);
    PlatformDrawXorRect(context, &band);
    PlatformDrawXorLine(context, 60, 10, 90, 37);
    PlatformEndDraw(window, context);
    UiSettle();
    QImage banded =
        QtPlatformWidget(window)->grab().toImage().convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(banded.pixel(5, 5) & 0xffffff, ~shot.pixel(5, 5) & 0xffffff);
    EXPECT_EQ(banded.pixel(49, 39) & 0xffffff, ~shot.pixel(49, 39) & 0xffffff);
    EXPECT_EQ(banded.pixel(5, 20) & 0xffffff, ~shot.pixel(5, 20) & 0xffffff);
    EXPECT_EQ(banded.pixel(6, 6), shot.pixel(6, 6));
    EXPECT_EQ(banded.pixel(90, 37) & 0xffffff, ~shot.pixel(90, 37) & 0xffffff);
    context = PlatformBeginDraw(window);
    PlatformDrawXorRect(context, &band);
    PlatformDrawXorLine(context, 60, 10, 90, 37);
    PlatformEndDraw(window, context);
    UiSettle();
    EXPECT_EQ(QtPlatformWidget(window)->grab().toImage().convertToFormat(QImage::Format_RGB32),
              shot);

    // Scrolling moves the pixels and repaints only the strip that came into view.
    static int paints;
    static Rect painted;
    paints = 0;
    UiHook = [](WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
        if (message == MSG_PAINT) {
            paints++;
            painted = *(const Rect *)lParam;
        }
        return PaintScene(window, message, wParam, lParam);
    };
    PlatformScrollWindow(window, 0, -16);
    UiSettle();
    EXPECT_EQ(paints, 1);
    EXPECT_EQ(painted.top, 284);
    EXPECT_EQ(painted.bottom, 300);
    QImage scrolled =
        QtPlatformWidget(window)->grab().toImage().convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(scrolled.pixel(7, 0), shot.pixel(7, 16));

    ImageFree(&Scene.color);
    ImageFree(&Scene.gray);
    ImageFree(&Scene.binary);
}

// The sample picture's window: its view is painted as it is.
static ImageWindow *Sample;

static MessageResult PaintSample(WindowHandle, uint32_t message, uintptr_t wParam, intptr_t)
{
    if (message != MSG_PAINT || Sample->view.rows == nullptr) return 0;
    Rect view = {0, 0, Sample->view.width - 1, Sample->view.height - 1};
    PlatformDrawImage((DrawContext *)wParam, &Sample->view, &view, 0, 0);
    return 0;
}

// The picture's top left 300 by 200 pixels rendered at one to one.
static void SampleRender(void)
{
    Sample->zoom = 1;
    Sample->sourceLeft = Sample->sourceTop = 0;
    Sample->sourceRight = 299;
    Sample->sourceBottom = 199;
    Sample->viewWidth = 300;
    Sample->viewHeight = 200;
    ASSERT_EQ(RenderView(&Sample->picture.image, Sample, 0, 0, 299, 199, 0), ERROR_NONE);
}

TEST_F(UiTest, TheSamplePictureShowsInItsWindowPixelForPixel)
{
    static const MenuItem MENU[] = {{-1, "&File", 0},
                                    {1002, "&Open...\tCtrl+O", 1},
                                    {-1, "&View", 0},
                                    {1301, "Zoom &In\tCtrl++", 1},
                                    {1302, "Zoom &Out\tCtrl+-", 1},
                                    {0, nullptr, 0}};
    PlatformSetMenu(MENU);
    int slot;
    ASSERT_EQ(SlotAllocate(&slot, &Sample), ERROR_NONE);
    ASSERT_EQ(
        FileLoad(UiDataPath("data/samples/sample.tif").c_str(), FILE_OPEN_ALL, &Sample->picture, 0),
        ERROR_NONE);
    ASSERT_EQ(Sample->picture.image.type, TYPE_COLOR24);
    // The editor's own tests show it at other zooms.
    SampleRender();
    UiHook = PaintSample;
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);
    WindowHandle window = UiChild("sample.tif", Sample->viewWidth + metrics.frameSize,
                                  Sample->viewHeight + metrics.borderSize);
    PlatformActivateWindow(window);
    UiSettle();
    QImage shot = QtPlatformWidget(window)->grab().toImage().convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(Mismatches(shot, &Sample->picture.image, 0, 0, 0, 0, 300, 200), 0);
    UiSaveScreenshot(QtPlatformMainWindow()->grab().toImage(), "sample-zoom1");
    PlatformDestroyWindow(window);
    SlotFree(slot);
}
