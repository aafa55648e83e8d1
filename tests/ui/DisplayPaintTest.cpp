// Painting of picture windows on the headless canvas: the margin around the view, the view
// at its place, the grid at the mapped points, the ruler's labels, ticks and colors, the
// single color and histogram records, a view made at paint time, and the bands the update
// rectangle leaves out.
#include <cmath>
#include <string>
#include <vector>

#include "color/ProfileTransform.h"
#include "tests/ui/DisplayTestSupport.h"
#include "ui/DisplayColor.h"

// A text drawn in a window: where, and what.
struct DrawnText {
    int x, y;
    std::string text;
};

// Paints the whole window and returns the texts this paint drew in it.
static std::vector<DrawnText> PaintTexts(WindowHandle window)
{
    HeadlessTextsForget();
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    std::vector<DrawnText> texts;
    for (int i = 0; i < HeadlessTextCount(); i++) {
        WindowHandle in;
        int x, y;
        const char *text = HeadlessTextAt(i, &in, &x, &y);
        if (in == window) texts.push_back({x, y, text});
    }
    return texts;
}

// The headless small font: 6 pixels a character, 14 a line, a text 13 high.
constexpr int SMALL_WIDTH = 6;
constexpr int SMALL_LINE = 14;

// The labels of one ruler, read from the texts drawn in its band beside the view: the top
// ruler's texts whole; the left ruler's stacked characters joined again, with the place of
// their first character.
static std::vector<DrawnText> RulerTexts(const std::vector<DrawnText> &texts,
                                         const ImageWindow *record, int top)
{
    int border = DisplayBorder();
    std::vector<DrawnText> axis;
    for (const DrawnText &text : texts) {
        if (top) {
            if (text.y + SMALL_LINE - 1 <= record->viewTop && text.y >= record->viewTop - border)
                axis.push_back(text);
        } else if (text.x < record->viewLeft && text.x >= record->viewLeft - border) {
            if (!axis.empty() &&
                text.y == axis.back().y + SMALL_LINE * (int)axis.back().text.size())
                axis.back().text += text.text;
            else
                axis.push_back(text);
        }
    }
    return axis;
}

// Every text of a paint stands whole in one of the two rulers' bands, beside the view and
// within its length, and no two texts meet.
static void ExpectRulerTextsApartAndInside(const std::vector<DrawnText> &texts,
                                           const ImageWindow *record)
{
    int border = DisplayBorder();
    Rect top = {record->viewLeft, record->viewTop - border, record->viewLeft + record->viewWidth,
                record->viewTop};
    Rect left = {record->viewLeft - border, record->viewTop, record->viewLeft,
                 record->viewTop + record->viewHeight};
    std::vector<Rect> boxes;
    for (const DrawnText &text : texts) {
        Rect box = {text.x, text.y, text.x + SMALL_WIDTH * (int)text.text.size(),
                    text.y + SMALL_LINE - 1};
        auto inside = [&box](const Rect &band) {
            return box.left >= band.left && box.right <= band.right && box.top >= band.top &&
                   box.bottom <= band.bottom;
        };
        EXPECT_TRUE(inside(top) || inside(left))
            << "\"" << text.text << "\" at " << text.x << "," << text.y;
        for (const Rect &other : boxes)
            EXPECT_FALSE(box.left < other.right && other.left < box.right &&
                         box.top < other.bottom && other.top < box.bottom)
                << "\"" << text.text << "\" at " << text.x << "," << text.y;
        boxes.push_back(box);
    }
}

TEST_F(DisplayWindows, PaintShowsTheMarginAndTheViewAtItsPlace)
{
    Prefs.borderColor[0] = 1.0;
    Prefs.borderColor[1] = 0.5; // 127.5, rounded half up: 0x80
    Prefs.borderColor[2] = 0.0;
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_COLOR24, 100, 80, 1, 200, 150, &record);
    ASSERT_EQ(record->viewLeft, 50);
    ASSERT_EQ(record->viewTop, 35);
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    const Image *canvas = HeadlessCanvas(window);
    ASSERT_EQ(canvas->width, 200);
    ASSERT_EQ(canvas->height, 150);
    for (int y = 0; y < 150; y++)
        for (int x = 0; x < 200; x++) {
            int inView = x >= 50 && x < 150 && y >= 35 && y < 115;
            uint32_t expected = 0xFF8000;
            if (inView) {
                // The picture's pixel, blue first, rows from the bottom.
                const uint8_t *pixel = record->picture.image.rows[79 - (y - 35)] + 3 * (x - 50);
                expected = (uint32_t)pixel[2] << 16 | (uint32_t)pixel[1] << 8 | pixel[0];
            }
            ASSERT_EQ(CanvasColor(canvas, x, y), expected) << x << "," << y;
        }
}

TEST_F(DisplayWindows, GridLinesFallAtTheMappedPoints)
{
    ImageWindow *record;
    // 90 by 60 at zoom 2 fits a client of 220 by 160: the view of 180 by 120 stands at 20, 20.
    WindowHandle window = Picture(TYPE_GRAY8, 90, 60, 2, 220, 160, &record);
    ASSERT_EQ(record->viewLeft, 20);
    ASSERT_EQ(record->viewTop, 20);
    // Three parts: the points (30, 20) and (60, 40), rows from the bottom. Across, the
    // middle of the block: 20 + 30 * 2 + 1 = 81 and 141. Down, rows 39 and 19 from the top:
    // 20 + 78 - 1 + 119 mod 2 = 98, and 58.
    struct Case {
        int divisions;
        std::vector<int> columns, rows;
    } cases[] = {{3, {81, 141}, {58, 98}}, {1, {}, {}}, {0, {}, {}}, {-4, {}, {}}};
    for (const Case &test : cases) {
        SCOPED_TRACE(test.divisions);
        record->gridDivisions = test.divisions;
        PlatformInvalidate(window, nullptr);
        HeadlessPaint(window);
        // A value below 1 is kept as 1.
        EXPECT_EQ(record->gridDivisions, test.divisions < 1 ? 1 : test.divisions);
        const Image *canvas = HeadlessCanvas(window);
        for (int y = 20; y < 140; y++)
            for (int x = 20; x < 200; x++) {
                int onLine = false;
                for (int column : test.columns)
                    onLine |= x == column;
                for (int row : test.rows)
                    onLine |= y == row;
                uint32_t shown = ScreenColor(&record->screen, x - 20, y - 20);
                // Lines invert what lies under them, once even where they cross.
                ASSERT_EQ(CanvasColor(canvas, x, y), onLine ? shown ^ 0xFFFFFF : shown)
                    << x << "," << y;
            }
    }
}

TEST_F(DisplayWindows, RulerInPixelsLabelsRoundDivisionsWhereTheLabelsFit)
{
    Prefs.showRuler = 1;
    ImageWindow *record;
    // 400 by 200 fills a client of 432 by 232 inside the border of 16.
    WindowHandle window = Picture(TYPE_GRAY8, 400, 200, 1, 432, 232, &record);
    std::vector<DrawnText> texts = PaintTexts(window);
    ExpectRulerTextsApartAndInside(texts, record);
    // 400 / 20 would be a step of 20 pixels, but "400" with the gaps needs 2 + 18 + 8: the
    // next round step, 50. Each label stands right of its tick; "400" would pass the view's
    // end and is left out.
    std::vector<DrawnText> top = RulerTexts(texts, record, 1);
    ASSERT_EQ(top.size(), 8u);
    for (int i = 0; i < 8; i++) {
        EXPECT_EQ(top[i].text, std::to_string(50 * i));
        EXPECT_EQ(top[i].x, 16 + 50 * i + 2);
        EXPECT_EQ(top[i].y, 0);
    }
    // Down the left, a margin of 16 has no room for "200" written across: the digits stand
    // one under the other, 2 + 3 * 14 + 8 pixels a label, more than 50: every 100 pixels.
    std::vector<DrawnText> left = RulerTexts(texts, record, 0);
    ASSERT_EQ(left.size(), 2u);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(left[i].text, std::to_string(100 * i));
        EXPECT_EQ(left[i].y, 16 + 100 * i + 2);
    }
    // Major ticks cross the margin, minor ones (every 10 pixels across, 20 down) a quarter
    // of it, in black against the white border.
    const Image *canvas = HeadlessCanvas(window);
    EXPECT_EQ(CanvasColor(canvas, 66, 0), 0x000000u);
    EXPECT_EQ(CanvasColor(canvas, 26, 12), 0x000000u);
    EXPECT_EQ(CanvasColor(canvas, 26, 11), 0xFFFFFFu);
    EXPECT_EQ(CanvasColor(canvas, 12, 36), 0x000000u);
    EXPECT_EQ(CanvasColor(canvas, 11, 36), 0xFFFFFFu);

    // No ruler without the preference.
    Prefs.showRuler = 0;
    EXPECT_TRUE(PaintTexts(window).empty());
    EXPECT_EQ(CanvasColor(HeadlessCanvas(window), 66, 0), 0xFFFFFFu);
}

TEST_F(DisplayWindows, RulerUnitsFollowThePreference)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_GRAY8, 400, 200, 1, 432, 232, &record);
    record->picture.image.resolution = 100.0; // 4 by 2 inches
    struct Case {
        int units;
        std::vector<std::string> top;
        int firstStepX; // where the second label of the top stands
        std::vector<std::string> left;
    } cases[] = {
        // Inches: 4 / 20 = 0.2 a division, but "0.2" takes 2 + 18 + 8 pixels of 20: 0.5.
        // Down the left its digits stand one under the other.
        {2, {"0", "0.5", "1", "1.5", "2", "2.5", "3", "3.5"}, 16 + 50 + 2, {"0", "1"}},
        // Millimetres: 101.6 / 20 = 5.08, up to 10; 10 mm are 39.37 pixels, room for "40"
        // stacked down the left: 2 + 2 * 14 + 8.
        {3,
         {"0", "10", "20", "30", "40", "50", "60", "70", "80", "90"},
         16 + 39 + 2,
         {"0", "10", "20", "30", "40"}},
        // Centimetres: 10.16 / 20 = 0.508, up to 1.
        {4,
         {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"},
         16 + 39 + 2,
         {"0", "1", "2", "3", "4"}},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.units);
        Prefs.showRuler = test.units;
        std::vector<DrawnText> texts = PaintTexts(window);
        ExpectRulerTextsApartAndInside(texts, record);
        std::vector<DrawnText> top = RulerTexts(texts, record, 1);
        ASSERT_EQ(top.size(), test.top.size());
        for (size_t i = 0; i < top.size(); i++)
            EXPECT_EQ(top[i].text, test.top[i]);
        EXPECT_EQ(top[1].x, test.firstStepX);
        std::vector<DrawnText> left = RulerTexts(texts, record, 0);
        ASSERT_EQ(left.size(), test.left.size());
        for (size_t i = 0; i < left.size(); i++)
            EXPECT_EQ(left[i].text, test.left[i]);
    }
}

TEST_F(DisplayWindows, RulerFollowsTheZoom)
{
    Prefs.showRuler = 1;
    ImageWindow *record;
    // Zoom 2: 200 picture pixels over 400 view pixels, a step of 20, forty view pixels each.
    WindowHandle window = Picture(TYPE_GRAY8, 200, 100, 2, 432, 232, &record);
    std::vector<DrawnText> top = RulerTexts(PaintTexts(window), record, 1);
    ASSERT_EQ(top.size(), 10u);
    EXPECT_EQ(top[3].text, "60");
    EXPECT_EQ(top[3].x, 16 + 120 + 2);
    PlatformDestroyWindow(window);

    // Zoom 3 scrolled down: a view of 384 by 184 from row 19, whose top block is cut by two
    // rows. Row 20 begins at the view's second client row, 17: its label stands at 19.
    window = Picture(TYPE_GRAY8, 200, 100, 3, 432, 232, &record);
    ASSERT_EQ(record->viewHeight, 184);
    ASSERT_EQ(record->scrollTop, 57);
    ASSERT_EQ(record->sourceTop, 19);
    std::vector<DrawnText> left = RulerTexts(PaintTexts(window), record, 0);
    ASSERT_FALSE(left.empty());
    EXPECT_EQ(left[0].text, "20");
    EXPECT_EQ(left[0].y, 19);
    // And the view's row there shows picture row 20 from the top.
    int x, y;
    ClientToPicture(window, record, record->viewLeft, 17, &x, &y);
    EXPECT_EQ(record->picture.image.height - 1 - y, 20);
    ClientToPicture(window, record, record->viewLeft, 16, &x, &y);
    EXPECT_EQ(record->picture.image.height - 1 - y, 19);
}

TEST_F(DisplayWindows, RulerLabelsNeverMeetNorLeaveTheirBandAtAnyZoomOrSize)
{
    // Windows smaller and far larger than their views, magnified, one to one and reduced, at
    // every unit, from 4:1 to 1:8: the band beside the view is as thick as the border, never
    // the whole space around a view that stands in the middle of a large window.
    struct Case {
        int zoom, clientWidth, clientHeight;
    } cases[] = {{4, 432, 232}, {2, 1600, 1000}, {1, 432, 232}, {-3, 1500, 1000}, {-8, 300, 300}};
    for (const Case &test : cases)
        for (int units = 1; units <= 4; units++) {
            SCOPED_TRACE(testing::Message() << "zoom " << test.zoom << " in " << test.clientWidth
                                            << " x " << test.clientHeight << ", units " << units);
            Prefs.showRuler = units;
            ImageWindow *record;
            WindowHandle window = Picture(TYPE_GRAY8, 1234, 567, test.zoom, test.clientWidth,
                                          test.clientHeight, &record);
            record->picture.image.resolution = 240.0;
            std::vector<DrawnText> texts = PaintTexts(window);
            ExpectRulerTextsApartAndInside(texts, record);
            EXPECT_GE(RulerTexts(texts, record, 1).size(), 2u);
            EXPECT_GE(RulerTexts(texts, record, 0).size(), 1u);
            // Nothing is drawn in the margin beyond the bands: it stays the border color.
            const Image *canvas = HeadlessCanvas(window);
            int bandTop = record->viewTop - DisplayBorder();
            int bandLeft = record->viewLeft - DisplayBorder();
            for (int y = 0; y < canvas->height; y++)
                for (int x = 0; x < canvas->width; x++) {
                    if (x >= bandLeft && y >= bandTop && x < record->viewLeft + record->viewWidth &&
                        y < record->viewTop + record->viewHeight)
                        continue;
                    ASSERT_EQ(CanvasColor(canvas, x, y), 0xFFFFFFu) << x << "," << y;
                }
            PlatformDestroyWindow(window);
            SlotFree(record->slot);
        }
}

TEST(DisplayRuler, TextColorComparesRedAndGreenWithTheBordersRed)
{
    struct Case {
        uint32_t border, text;
    } cases[] = {{0xFFFFFF, 0x000000}, {0x000000, 0xFFFFFF}, {0xC83232, 0x0000FF},
                 {0x32C8C8, 0xFFFF00}, {0x80FF7F, 0x0000FF}, {0x7F0080, 0xFFFF00},
                 {0x7FFF7F, 0xFFFFFF}};
    for (const Case &test : cases) {
        SCOPED_TRACE(test.border);
        EXPECT_EQ(RulerTextColor(test.border), test.text);
    }
}

TEST(DisplayRuler, StepsAreRoundAndNoMoreThanAsked)
{
    struct Case {
        double range;
        int divisions;
        double step;
    } cases[] = {{400, 20, 20},   {101.6002, 20, 10}, {10.16002, 20, 1}, {4, 20, 0.2},
                 {1, 3, 0.5},     {7, 1, 10},         {0.3, 1, 0.5},     {999, 10, 100},
                 {1001, 10, 200}, {0, 5, 0},          {5, 0, 0},         {-3, 2, 0}};
    for (const Case &test : cases) {
        SCOPED_TRACE(testing::Message() << test.range << " in " << test.divisions);
        EXPECT_NEAR(RulerStep(test.range, test.divisions), test.step, test.step * 1e-12);
    }
    // Across ranges: never more divisions than asked, never more than 2.5 times the least
    // step, and always 1, 2 or 5 times a power of ten.
    for (double range = 0.013; range < 1e6; range *= 1.37)
        for (int divisions = 1; divisions <= 60; divisions += 7) {
            double step = RulerStep(range, divisions);
            ASSERT_LE(range / step, divisions * (1 + 1e-9)) << range << " " << divisions;
            ASSERT_LE(step, 2.5 * range / divisions * (1 + 1e-9));
            double power = std::pow(10.0, std::floor(std::log10(step) + 1e-9));
            double round = step / power;
            ASSERT_TRUE(std::fabs(round - 1) < 1e-9 || std::fabs(round - 2) < 1e-9 ||
                        std::fabs(round - 5) < 1e-9)
                << step;
        }
}

// A window of kind 0 whose record holds a picture of a storage-only type.
static WindowHandle StorageWindow(DisplayWindows *fixture, int type, int clientWidth,
                                  int clientHeight, ImageWindow **record)
{
    int slot;
    EXPECT_EQ(SlotAllocate(&slot, record), ERROR_NONE);
    EXPECT_EQ(ImageAlloc(&(*record)->picture.image, type, 257, 1, 72.0), ERROR_NONE);
    memset((*record)->picture.image.rows[0], 0, (size_t)(*record)->picture.image.rowBytes);
    return fixture->Bare(KIND_IMAGE, "Storage", slot, clientWidth, clientHeight);
}

TEST_F(DisplayWindows, HistogramFillsItsAreaAndScalesToThePeak)
{
    ImageWindow *record;
    // An area of 255 by 100 inside the margin of 4.
    WindowHandle window = StorageWindow(this, TYPE_HISTOGRAM, 263, 108, &record);
    uint32_t *counts = (uint32_t *)record->picture.image.rows[0];
    counts[0] = 100;       // the peak
    counts[1 + 0] = 100;   // value 0
    counts[1 + 128] = 50;  // value 128
    counts[1 + 200] = 900; // above the peak: no higher than the area
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    const Image *canvas = HeadlessCanvas(window);
    // Value 0 at x 4 from the bottom (103) up to 99 - 99 + 4.
    EXPECT_EQ(CanvasColor(canvas, 4, 4), 0x000000u);
    EXPECT_EQ(CanvasColor(canvas, 4, 103), 0x000000u);
    // Value 128 at 254 * 128 / 255 + 4 = 131, up to 99 - 49 + 4 = 54.
    EXPECT_EQ(CanvasColor(canvas, 131, 54), 0x000000u);
    EXPECT_EQ(CanvasColor(canvas, 131, 53), 0xC0C0C0u);
    // Value 255 with no count: its bottom pixel only.
    EXPECT_EQ(CanvasColor(canvas, 258, 103), 0x000000u);
    EXPECT_EQ(CanvasColor(canvas, 258, 102), 0xC0C0C0u);
    // Value 200: 254 * 200 / 255 + 4 = 203, to the top of the area.
    EXPECT_EQ(CanvasColor(canvas, 203, 4), 0x000000u);
    EXPECT_EQ(CanvasColor(canvas, 203, 3), 0xFFFFFFu);
    EXPECT_EQ(CanvasColor(canvas, 10, 50), 0xC0C0C0u);
    EXPECT_EQ(CanvasColor(canvas, 0, 0), 0xFFFFFFu);
    EXPECT_EQ(CanvasColor(canvas, 262, 107), 0xFFFFFFu);

    // An empty histogram (peak 0) draws the bottom row only.
    memset(counts, 0, 1028);
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    EXPECT_EQ(CanvasColor(HeadlessCanvas(window), 4, 103), 0x000000u);
    EXPECT_EQ(CanvasColor(HeadlessCanvas(window), 4, 102), 0xC0C0C0u);
}

TEST_F(DisplayWindows, SingleColorFillsTheWindow)
{
    ImageWindow *record;
    WindowHandle window = StorageWindow(this, TYPE_COLOR, 50, 40, &record);
    record->picture.image.rows[0][0] = 10; // blue
    record->picture.image.rows[0][1] = 20;
    record->picture.image.rows[0][2] = 30;
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    const Image *canvas = HeadlessCanvas(window);
    for (int y = 0; y < 40; y++)
        for (int x = 0; x < 50; x++)
            ASSERT_EQ(CanvasColor(canvas, x, y), 0x1E140Au);
}

TEST_F(DisplayWindows, PaintMakesAMissingViewOrScreenFirst)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_COLOR48, 100, 80, -2, 200, 150, &record);
    ImageFree(&record->view);
    ImageFree(&record->screen);
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    ASSERT_EQ(record->view.width, 50);
    Image view, screen;
    FreshView(record, &record->picture.image, &view, &screen);
    ExpectImagesNear(view, record->view, 0);
    const Image *canvas = HeadlessCanvas(window);
    EXPECT_EQ(CanvasColor(canvas, record->viewLeft + 3, record->viewTop + 4),
              ScreenColor(&screen, 3, 4));
    // A change of color settings drops the screen; the paint makes it again.
    DisplayReset(record);
    ASSERT_EQ(record->screen.rows, nullptr);
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    ExpectImagesNear(screen, record->screen, 0);
    ImageFree(&view);
    ImageFree(&screen);
}

TEST_F(DisplayWindows, PaintSkipsBandsOutsideTheUpdateRectangle)
{
    ImageWindow *record;
    // A screen 2000 wide holds 512000 / 6000 = 85 rows a chunk: from the top, rows 0..44,
    // 45..129, 130..214 and 215..299, at client rows from 16.
    WindowHandle window = Picture(TYPE_GRAY8, 2000, 300, 1, 2032, 332, &record);
    ASSERT_EQ(record->viewTop, 16);
    ASSERT_EQ(record->screen.rowsPerChunk, 85);
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    uint32_t oldTop = CanvasColor(HeadlessCanvas(window), 20, 20);
    uint32_t oldBottom = CanvasColor(HeadlessCanvas(window), 20, 300);
    Image *picture = &record->picture.image;
    for (int y = 0; y < picture->height; y++)
        for (int x = 0; x < picture->width; x++)
            picture->rows[y][x] = (uint8_t)(255 - picture->rows[y][x]);
    ASSERT_EQ(RefreshView(record), ERROR_NONE);
    UpdateRect = {0, 16, 2032, 20};
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    EXPECT_EQ(CanvasColor(HeadlessCanvas(window), 20, 20), oldTop ^ 0xFFFFFF);
    EXPECT_EQ(CanvasColor(HeadlessCanvas(window), 20, 300), oldBottom);
    // The paint used it up: the next one draws all.
    EXPECT_EQ(UpdateRect.left, -1);
    EXPECT_EQ(UpdateRect.bottom, -1);
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    EXPECT_EQ(CanvasColor(HeadlessCanvas(window), 20, 300), oldBottom ^ 0xFFFFFF);
}

TEST_F(DisplayWindows, WindowsWithoutAPictureKeepTheirSizeAndZoom)
{
    ImageWindow *record;
    WindowHandle window = StorageWindow(this, TYPE_HISTOGRAM, 263, 108, &record);
    Rect before, after;
    PlatformGetWindowRect(window, &before);
    ZoomIn(window, record, 1, -1, -1);
    ZoomOut(window, record, 1);
    ZoomToFitClient(window, record, PlatformWorkspace(), 1);
    EXPECT_EQ(record->zoom, 1);
    EXPECT_EQ(LayoutWindow(window, record, 1, 1), 0);
    PlatformGetWindowRect(window, &after);
    EXPECT_EQ(after.right - after.left, before.right - before.left);
    EXPECT_EQ(after.bottom - after.top, before.bottom - before.top);
    EXPECT_EQ(PlatformSendMessage(window, MSG_VSCROLL, SCROLL_LINE_DOWN, 0), 0);
}
