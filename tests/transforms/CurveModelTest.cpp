// The tone curve: tables at 8 and 16 bits worked out by hand at the points that matter, the
// spline's shapes, histograms, the control's mouse rules as press, move and release, and the
// curve files, ours and the foreign ones made here byte by byte.
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/support/TestSupport.h"
#include "transforms/CurveModel.h"

// A table of 256 entries from points given as {x, y} pairs.
static std::vector<int> Table(std::vector<std::pair<int, int>> points, int style,
                              ErrorCode *result = nullptr)
{
    std::vector<int32_t> x, y;
    for (auto point : points) {
        x.push_back(point.first);
        y.push_back(point.second);
    }
    uint8_t table[256];
    ErrorCode code = CurveTableFromPoints((int)points.size(), x.data(), y.data(), style, table);
    if (result != nullptr) *result = code;
    return std::vector<int>(table, table + 256);
}

static std::vector<int> Table16(std::vector<std::pair<int, int>> points, int style)
{
    std::vector<int32_t> x, y;
    for (auto point : points) {
        x.push_back(point.first);
        y.push_back(point.second);
    }
    static uint16_t table[65536];
    EXPECT_EQ(CurveTable16FromPoints((int)points.size(), x.data(), y.data(), style, table),
              ERROR_NONE);
    return std::vector<int>(table, table + 65536);
}

TEST(CurveTable, TwoPointsAreTheIdentityAsLineAndSpline)
{
    TestStart();
    for (int style : {CURVE_LINEAR, CURVE_SPLINE}) {
        SCOPED_TRACE(style);
        std::vector<int> table = Table({{0, 0}, {255, 255}}, style);
        std::vector<int> table16 = Table16({{0, 0}, {255, 255}}, style);
        for (int i = 0; i < 256; i++)
            ASSERT_EQ(table[i], i);
        for (int i = 0; i < 65536; i++)
            ASSERT_EQ(table16[i], i);
    }
}

TEST(CurveTable, StairStepHoldsEachStepStartToTheLastPoint)
{
    TestStart();
    // Each input takes the start of its segment; the last point starts a step of no width,
    // so only inputs above it take its level.
    std::vector<int> table = Table({{0, 0}, {100, 200}, {255, 255}}, CURVE_STEP);
    EXPECT_EQ(table[0], 0);
    EXPECT_EQ(table[99], 0);
    EXPECT_EQ(table[100], 200);
    EXPECT_EQ(table[255], 200);
    table = Table({{0, 0}, {100, 200}, {200, 230}}, CURVE_STEP);
    EXPECT_EQ(table[200], 200);
    EXPECT_EQ(table[201], 230);
    EXPECT_EQ(table[255], 230);
    std::vector<int> table16 = Table16({{0, 0}, {100, 200}, {255, 255}}, CURVE_STEP);
    EXPECT_EQ(table16[25699], 0); // 100 * 257 is 25700
    EXPECT_EQ(table16[25700], 51400);
    EXPECT_EQ(table16[65535], 51400);
}

TEST(CurveTable, BrokenLineRoundsToTheNearestLevel)
{
    TestStart();
    std::vector<int> table = Table({{0, 0}, {100, 200}, {255, 255}}, CURVE_LINEAR);
    for (int i = 0; i <= 100; i++)
        ASSERT_EQ(table[i], 2 * i);
    // Above the knot each step adds 55 / 155 = 0.355: 200.35 rounds down, 200.71 up.
    EXPECT_EQ(table[101], 200);
    EXPECT_EQ(table[102], 201);
    EXPECT_EQ(table[255], 255);
    // One third a level per input: 0.33 rounds to 0 and 0.67 to 1.
    table = Table({{0, 0}, {3, 1}, {255, 255}}, CURVE_LINEAR);
    EXPECT_EQ(table[1], 0);
    EXPECT_EQ(table[2], 1);
    EXPECT_EQ(table[3], 1);
    // At 16 bits the points become 257 times their level and the same steps recur.
    std::vector<int> table16 = Table16({{0, 0}, {100, 200}, {255, 255}}, CURVE_LINEAR);
    EXPECT_EQ(table16[12850], 25700);
    EXPECT_EQ(table16[12851], 25702);
    EXPECT_EQ(table16[25700], 51400);
    EXPECT_EQ(table16[25701], 51400); // 51400.35
    EXPECT_EQ(table16[25702], 51401); // 51400.71
    EXPECT_EQ(table16[65535], 65535);
}

TEST(CurveTable, InputsOutsideThePointsTakeTheEndLevels)
{
    TestStart();
    for (int style : {CURVE_STEP, CURVE_LINEAR, CURVE_SPLINE}) {
        SCOPED_TRACE(style);
        std::vector<int> table = Table({{50, 20}, {120, 90}, {200, 230}}, style);
        for (int i = 0; i < 50; i++)
            ASSERT_EQ(table[i], 20) << i;
        EXPECT_EQ(table[50], 20);
        for (int i = 201; i < 256; i++)
            ASSERT_EQ(table[i], 230) << i;
        std::vector<int> table16 = Table16({{50, 20}, {120, 90}, {200, 230}}, style);
        for (int i = 0; i < 12850; i++)
            ASSERT_EQ(table16[i], 5140) << i;
        EXPECT_EQ(table16[51401], 59110);
        EXPECT_EQ(table16[65535], 59110);
    }
}

TEST(CurveTable, ThreePointSplineWithTheMiddleBetweenIsAPowerCurve)
{
    TestStart();
    // p = ln(180 / 255) / ln(128 / 255) = 0.50535; entry i is 255 (i / 255)^p rounded.
    std::vector<int> table = Table({{0, 0}, {128, 180}, {255, 255}}, CURVE_SPLINE);
    EXPECT_EQ(table[0], 0);
    EXPECT_EQ(table[1], 16);    // 15.502
    EXPECT_EQ(table[2], 22);    // 22.005
    EXPECT_EQ(table[64], 127);  // 126.808
    EXPECT_EQ(table[127], 179); // 179.288
    EXPECT_EQ(table[128], 180); // the middle point itself
    EXPECT_EQ(table[129], 181); // 180.709
    EXPECT_EQ(table[254], 254); // 254.494
    EXPECT_EQ(table[255], 255);
    // A fresh evaluation at 16 bits, not the 8-bit table stretched: at 64 * 257 the power
    // gives 32589.59, where 127 * 257 would be 32639.
    std::vector<int> table16 = Table16({{0, 0}, {128, 180}, {255, 255}}, CURVE_SPLINE);
    EXPECT_EQ(table16[16448], 32590);
    EXPECT_EQ(table16[257], 3984); // 3983.997, not 16 * 257
    EXPECT_EQ(table16[32896], 46260);
    EXPECT_EQ(table16[65535], 65535);
    // Falling through the middle: 255 + round((i / 255)^0.72231 * -255).
    table = Table({{0, 255}, {128, 100}, {255, 0}}, CURVE_SPLINE);
    EXPECT_EQ(table[64], 161); // 255 - 93.95
    EXPECT_EQ(table[128], 100);
    EXPECT_EQ(table[192], 47); // 255 - 207.74
}

TEST(CurveTable, PeakTakesTheGeneralSplineWithALevelTopAndNoOvershoot)
{
    TestStart();
    // The middle point is not between the others, so this is the monotone spline: the
    // peak's tangent is level and the chord tangents at the ends need no limiting. At input
    // 64, halfway up the first segment, the cubic gives 0.5 + 0.125 of full scale.
    std::vector<int> table = Table({{0, 0}, {128, 255}, {255, 0}}, CURVE_SPLINE);
    EXPECT_EQ(table[0], 0);
    EXPECT_EQ(table[64], 159); // 159.375
    EXPECT_EQ(table[128], 255);
    EXPECT_EQ(table[192], 158); // (0.49410 + 0.12598) * 255 = 158.12
    EXPECT_EQ(table[255], 0);
    for (int i = 1; i <= 128; i++)
        ASSERT_GE(table[i], table[i - 1]) << i;
    for (int i = 129; i < 256; i++)
        ASSERT_LE(table[i], table[i - 1]) << i;
    std::vector<int> table16 = Table16({{0, 0}, {128, 255}, {255, 0}}, CURVE_SPLINE);
    EXPECT_EQ(table16[16448], 40959); // 0.625 * 65535 = 40959.375
    EXPECT_EQ(table16[32896], 65535);
}

TEST(CurveTable, MiddleLevelWithAnEndIsNoPowerCurve)
{
    TestStart();
    // The middle equals the first: no power curve but a spline whose first segment is flat.
    std::vector<int> table = Table({{0, 100}, {128, 100}, {255, 200}}, CURVE_SPLINE);
    for (int i = 0; i <= 128; i++)
        ASSERT_EQ(table[i], 100) << i;
    EXPECT_EQ(table[255], 200);
    // Ends at one level: a hump, not a power.
    table = Table({{0, 50}, {128, 100}, {255, 50}}, CURVE_SPLINE);
    EXPECT_EQ(table[128], 100);
    EXPECT_EQ(table[255], 50);
}

TEST(CurveTable, FlatSegmentStaysFlatAndItsNeighboursDoNotOvershoot)
{
    TestStart();
    std::vector<int> table = Table({{0, 0}, {64, 100}, {192, 100}, {255, 255}}, CURVE_SPLINE);
    for (int i = 64; i <= 192; i++)
        ASSERT_EQ(table[i], 100) << i;
    for (int i = 0; i < 64; i++)
        ASSERT_LE(table[i], 100) << i;
    for (int i = 193; i < 256; i++)
        ASSERT_GE(table[i], 100) << i;
    std::vector<int> table16 = Table16({{0, 0}, {64, 100}, {192, 100}, {255, 255}}, CURVE_SPLINE);
    for (int i = 64 * 257; i <= 192 * 257; i++)
        ASSERT_EQ(table16[i], 25700) << i;
}

TEST(CurveTable, SplineNeverLeavesTheLevelsOfASegmentsEnds)
{
    TestStart();
    // Many curves made from a fixed seed: every segment of the spline stays between its two
    // end levels, and rising points give a rising table.
    uint32_t state = 12345;
    auto next = [&state](int range) {
        state = state * 1664525u + 1013904223u;
        return (int)((state >> 8) % (uint32_t)range);
    };
    for (int trial = 0; trial < 3000; trial++) {
        int n = 2 + next(12);
        std::vector<int> levels;
        bool used[256] = {};
        while ((int)levels.size() < n) {
            int x = next(256);
            if (!used[x]) levels.push_back(x), used[x] = true;
        }
        std::sort(levels.begin(), levels.end());
        std::vector<std::pair<int, int>> points;
        std::vector<int> ys;
        for (int k = 0; k < n; k++)
            ys.push_back(next(256));
        if (trial % 2 == 0) std::sort(ys.begin(), ys.end());
        for (int k = 0; k < n; k++)
            points.push_back({levels[k], ys[k]});
        if (n == 3) continue; // the power curve has tests of its own
        std::vector<int> table = Table(points, CURVE_SPLINE);
        for (int k = 0; k + 1 < n; k++) {
            int low = std::min(ys[k], ys[k + 1]);
            int high = std::max(ys[k], ys[k + 1]);
            for (int i = levels[k]; i <= levels[k + 1]; i++)
                ASSERT_TRUE(table[i] >= low && table[i] <= high)
                    << "trial " << trial << " segment " << k << " input " << i;
        }
        if (trial % 2 == 0) {
            for (int i = 1; i < 256; i++)
                ASSERT_GE(table[i], table[i - 1]) << "trial " << trial;
        }
    }
}

TEST(CurveTable, PointsThatMakeNoCurveGiveTheIdentityAndCode41)
{
    TestStart();
    const std::vector<std::vector<std::pair<int, int>>> bad = {
        {{0, 0}},           // one point
        {{0, 0}, {0, 255}}, // x not rising
        {{10, 0}, {5, 255}},
        {{0, 0}, {256, 255}}, // level out of range
        {{0, -1}, {255, 255}},
    };
    for (const auto &points : bad) {
        ErrorCode result;
        std::vector<int> table = Table(points, CURVE_SPLINE, &result);
        EXPECT_EQ(result, ERROR_SPLINE_CURVE);
        for (int i = 0; i < 256; i++)
            ASSERT_EQ(table[i], i);
    }
    int32_t x[CURVE_POINT_MAX + 1], y[CURVE_POINT_MAX + 1];
    for (int i = 0; i <= CURVE_POINT_MAX; i++)
        x[i] = y[i] = i;
    EXPECT_EQ(CurvePointsValid(CURVE_POINT_MAX, x, y), 1);
    EXPECT_EQ(CurvePointsValid(CURVE_POINT_MAX + 1, x, y), 0);
}

TEST(GrayCurve, ResetIsTheIdentityAndInvertFlipsIt)
{
    TestStart();
    static GrayCurve curve;
    memset(&curve, 0x55, sizeof curve);
    GrayCurveInit(&curve);
    EXPECT_EQ(curve.pointCount, 2);
    EXPECT_EQ(curve.x[1], 255);
    EXPECT_EQ(curve.y[1], 255);
    for (int i = 0; i < 256; i++)
        ASSERT_EQ(curve.table[i], i);
    GrayCurveInvert(&curve);
    EXPECT_EQ(curve.table[0], 255);
    EXPECT_EQ(curve.table[255], 0);
}

// Gray counts i at level i, as a histogram record: its maximum, then 256 counts.
static void RampHistogram(int32_t *histogram)
{
    histogram[0] = 255;
    for (int i = 0; i < 256; i++)
        histogram[1 + i] = i;
}

TEST(GrayCurve, OutputHistogramIsTheInputThroughTheTable)
{
    TestStart();
    static GrayCurve curve;
    GrayCurveInit(&curve);
    int32_t gray[257];
    RampHistogram(gray);
    const int32_t *sources[3] = {gray, nullptr, nullptr};
    GrayCurveSetHistograms(&curve, CURVE_HISTOGRAM_ONE, sources);
    EXPECT_EQ(curve.inputMaximum, 255);
    EXPECT_EQ(curve.outputHistogram[200], 200);
    // Two points in stair steps: every input up to the last point takes the first level,
    // so 0..128 pile up at 0 and 129..255 at 255.
    CurvePoints points = {};
    points.pointCount = 2;
    points.x[0] = 0;
    points.y[0] = 0;
    points.x[1] = 128;
    points.y[1] = 255;
    points.style = CURVE_STEP;
    ASSERT_EQ(GrayCurveSetPoints(&curve, &points), ERROR_NONE);
    EXPECT_EQ(curve.outputHistogram[0], 128 * 129 / 2);          // 0 + 1 + ... + 128
    EXPECT_EQ(curve.outputHistogram[255], 255 * 256 / 2 - 8256); // 129 + ... + 255
    EXPECT_EQ(curve.outputMaximum, 24384);
    for (int i = 1; i < 255; i++)
        ASSERT_EQ(curve.outputHistogram[i], 0);
}

TEST(GrayCurve, ThreeHistogramsShowTheLargestAtEachLevel)
{
    TestStart();
    static GrayCurve curve;
    GrayCurveInit(&curve);
    int32_t red[257], green[257] = {}, blue[257] = {};
    for (int i = 0; i < 256; i++)
        red[1 + i] = 1;
    green[1 + 10] = 5;
    blue[1 + 10] = 3;
    blue[1 + 200] = 7;
    red[0] = 1;
    green[0] = 5;
    blue[0] = 7;
    const int32_t *sources[3] = {red, green, blue};
    GrayCurveSetHistograms(&curve, CURVE_HISTOGRAM_THREE, sources);
    EXPECT_EQ(curve.inputHistogram[10], 5);
    EXPECT_EQ(curve.inputHistogram[200], 7);
    EXPECT_EQ(curve.inputHistogram[11], 1);
    EXPECT_EQ(curve.inputMaximum, 7);
    // Through a threshold each channel piles up alone: red's 129 and 127 at the ends
    // outweigh the others, which a sum would have added to them.
    CurvePoints points = {};
    points.pointCount = 2;
    points.x[1] = 128;
    points.y[1] = 255;
    points.style = CURVE_STEP;
    ASSERT_EQ(GrayCurveSetPoints(&curve, &points), ERROR_NONE);
    EXPECT_EQ(curve.outputHistogram[0], 129);
    EXPECT_EQ(curve.outputHistogram[255], 127);
    EXPECT_EQ(curve.outputMaximum, 129);
}

TEST(CurveHistogram, ExpansionLiftsSmallCounts)
{
    TestStart();
    EXPECT_EQ(CurveHistogramExpand(1000, CURVE_EXPAND_LINEAR), 1000);
    EXPECT_EQ(CurveHistogramExpand(1000, CURVE_EXPAND_MEDIUM), 1585); // 100 * 15.849
    EXPECT_EQ(CurveHistogramExpand(1000, CURVE_EXPAND_HIGH), 398);    // 100 * 3.981
    EXPECT_EQ(CurveHistogramExpand(1, CURVE_EXPAND_MEDIUM), 100);
    EXPECT_EQ(CurveHistogramExpand(0, CURVE_EXPAND_HIGH), 0);
    EXPECT_DOUBLE_EQ(CurveHistogramFraction(1000, 1000, CURVE_EXPAND_HIGH), 1.0);
    EXPECT_DOUBLE_EQ(CurveHistogramFraction(1, 1000, CURVE_EXPAND_MEDIUM), 100.0 / 1585);
    // An empty histogram's maximum counts as 1.
    EXPECT_DOUBLE_EQ(CurveHistogramFraction(0, 0, CURVE_EXPAND_LINEAR), 0.0);
    EXPECT_DOUBLE_EQ(CurveHistogramFraction(1, 0, CURVE_EXPAND_LINEAR), 1.0);
}

using PointList = std::vector<std::pair<int, int>>;

TEST(CurveMouse, PlotMapsLevelZeroToTheLowerLeft)
{
    EXPECT_EQ(CurveLevelOfColumn(0, 256), 0);
    EXPECT_EQ(CurveLevelOfColumn(255, 256), 255);
    EXPECT_EQ(CurveLevelOfRow(255, 256), 0);
    EXPECT_EQ(CurveLevelOfRow(0, 256), 255);
    EXPECT_EQ(CurveLevelOfColumn(-20, 256), 0); // outside the plot: clamped
    EXPECT_EQ(CurveLevelOfColumn(300, 256), 255);
    // A plot 511 pixels wide has two columns a level: column 255 is 127.5, rounded to 128.
    EXPECT_EQ(CurveLevelOfColumn(255, 511), 128);
    EXPECT_EQ(CurveColumnOfLevel(100, 511), 200);
    EXPECT_EQ(CurveRowOfLevel(255, 129), 0);
    EXPECT_EQ(CurveRowOfLevel(0, 129), 128);
}

// The mouse on a plot of 256 by 256 pixels, where column c is level c and row r level
// 255 - r: gestures of press, moves and release, each step with what it returns and, where
// given, the drag, the selected point and the points after it.
enum { PRESS = CURVE_MOUSE_PRESS, MOVE = CURVE_MOUSE_MOVE, RELEASE = CURVE_MOUSE_RELEASE };
enum { SHIFT = CURVE_KEY_SHIFT, CTRL = CURVE_KEY_CONTROL, ANY = -1 };

struct MouseStep {
    int event, column, row, keys;
    int result;            // ANY: not checked
    PointList points = {}; // after the step; empty: not checked
    int drag = ANY;        // after the step
    int selected = ANY;    // after the step
};

struct Gesture {
    const char *what;
    int view;
    PointList start; // empty: the two points of a reset curve
    std::vector<MouseStep> steps;
};

TEST(CurveMouse, GesturesMoveAddAndRemovePointsByTheRules)
{
    TestStart();
    PointList full; // a point at every x
    for (int i = 0; i < 256; i++)
        full.push_back({i, 255 - i});
    const PointList three = {{0, 0}, {128, 64}, {255, 255}};
    const PointList ends = {{50, 20}, {200, 220}};
    const Gesture gestures[] = {
        {"shift adds a point that follows the mouse until the release",
         CURVE_VIEW_CURVE,
         {},
         {{PRESS, 100, 255 - 50, SHIFT, CURVE_CHANGED, {{0, 0}, {100, 50}, {255, 255}}},
          {MOVE, 120, 255 - 60, 0, CURVE_CHANGED, {{0, 0}, {120, 60}, {255, 255}}},
          {RELEASE, 120, 255 - 60, 0, CURVE_NOTIFY},
          {MOVE, 10, 10, 0, 0},
          {RELEASE, 10, 10, 0, 0}}},
        {"shift on an x in use adds nothing",
         CURVE_VIEW_CURVE,
         {{0, 0}, {100, 50}, {255, 255}},
         {{PRESS, 100, 10, SHIFT, 0, {{0, 0}, {100, 50}, {255, 255}}}, {RELEASE, 100, 10, 0, 0}}},
        {"shift on a full curve adds nothing",
         CURVE_VIEW_CURVE,
         full,
         {{PRESS, 50, 50, SHIFT, 0, full}}},
        // The point at (128, row 191) is grabbed four pixels off in both directions; five is
        // too far.
        {"grab within four pixels",
         CURVE_VIEW_CURVE,
         three,
         {{PRESS, 132, 191 - 4, 0, 0, {}, CURVE_DRAG_POINT, 1},
          {MOVE, 140, 255 - 80, 0, CURVE_CHANGED, {{0, 0}, {140, 80}, {255, 255}}},
          {RELEASE, 140, 255 - 80, 0, CURVE_NOTIFY},
          {PRESS, 145, 255 - 80, 0, 0, {}, CURVE_DRAG_NONE},
          {MOVE, 200, 20, 0, 0, {{0, 0}, {140, 80}, {255, 255}}},
          {RELEASE, 200, 20, 0, 0}}},
        {"ctrl removes a point but never the last two",
         CURVE_VIEW_CURVE,
         three,
         {{PRESS, 128, 191, CTRL, CURVE_CHANGED, {{0, 0}, {255, 255}}},
          {RELEASE, 128, 191, 0, CURVE_NOTIFY},
          {PRESS, 0, 255, CTRL, CURVE_BEEP, {{0, 0}, {255, 255}}}}},
        {"ctrl away from every point does nothing",
         CURVE_VIEW_CURVE,
         three,
         {{PRESS, 60, 60, CTRL, 0, three}}},
        // A dragged x stays strictly between its neighbours, the end points having -1 and 256
        // for their outer ones; above the plot y clamps at 255.
        {"dragged x stays between its neighbours",
         CURVE_VIEW_CURVE,
         {{0, 0}, {100, 100}, {200, 200}, {255, 255}},
         {{PRESS, 100, 155, 0, ANY},
          {MOVE, 250, 155, 0, ANY, {{0, 0}, {199, 100}, {200, 200}, {255, 255}}},
          {MOVE, -40, 155, 0, ANY, {{0, 0}, {1, 100}, {200, 200}, {255, 255}}},
          {MOVE, 50, -30, 0, ANY, {{0, 0}, {50, 255}, {200, 200}, {255, 255}}},
          {RELEASE, 50, -30, 0, ANY},
          {PRESS, 255, 0, 0, ANY},
          {MOVE, 400, 0, 0, ANY, {{0, 0}, {50, 255}, {200, 200}, {255, 255}}},
          {MOVE, 0, 0, 0, ANY, {{0, 0}, {50, 255}, {200, 200}, {201, 255}}},
          {RELEASE, 0, 0, 0, ANY},
          {PRESS, 0, 255, 0, ANY},
          {MOVE, -5, 255, 0, ANY, {{0, 0}, {50, 255}, {200, 200}, {201, 255}}}}},
        // Four pixels from the left axis at the point's height drags only y, four from the
        // bottom axis at its x only x; five pixels is too far.
        {"axis drags move one coordinate",
         CURVE_VIEW_CURVE,
         three,
         {{PRESS, 4, 191 + 3, 0, 0, {}, CURVE_DRAG_Y, 1},
          {MOVE, 200, 255 - 100, 0, ANY, {{0, 0}, {128, 100}, {255, 255}}},
          {RELEASE, 200, 255 - 100, 0, CURVE_NOTIFY},
          {PRESS, 130, 252, 0, 0, {}, CURVE_DRAG_X},
          {MOVE, 140, 10, 0, ANY, {{0, 0}, {140, 100}, {255, 255}}},
          {RELEASE, 140, 10, 0, ANY},
          {PRESS, 5, 255 - 100, 0, 0, {}, CURVE_DRAG_NONE},
          {RELEASE, 5, 255 - 100, 0, ANY},
          {PRESS, 140, 250, 0, 0, {}, CURVE_DRAG_NONE}}},
        // A point between neighbours one level away takes no x drag; its neighbour has room
        // on one side.
        {"squeezed point takes no x drag",
         CURVE_VIEW_CURVE,
         {{0, 0}, {99, 10}, {100, 150}, {101, 20}, {255, 255}},
         {{PRESS, 100, 254, 0, 0, {}, CURVE_DRAG_NONE},
          {RELEASE, 100, 254, 0, ANY},
          {PRESS, 98, 254, 0, 0, {}, CURVE_DRAG_X, 1},
          {MOVE, 50, 254, 0, ANY, {{0, 0}, {50, 10}, {100, 150}, {101, 20}, {255, 255}}},
          {RELEASE, 50, 254, 0, ANY}}},
        // -1 stands one away from 0.
        {"an end point against its neighbour is squeezed too",
         CURVE_VIEW_CURVE,
         {{0, 200}, {1, 10}, {255, 255}},
         {{PRESS, 0, 253, 0, 0, {}, CURVE_DRAG_NONE}}},
        // The lower half holds the input handles, the upper half the output handles, whose y
        // moves sideways; Ctrl on a handle removes, here refused with two points.
        {"histogram view has input and output handles",
         CURVE_VIEW_HISTOGRAM,
         ends,
         {{PRESS, 52, 200, 0, 0, {}, CURVE_DRAG_X, 0},
          {MOVE, 70, 10, 0, CURVE_CHANGED, {{70, 20}, {200, 220}}},
          {RELEASE, 70, 10, 0, CURVE_NOTIFY},
          {PRESS, 218, 40, 0, 0, {}, CURVE_DRAG_Y, 1},
          {MOVE, 240, 200, 0, ANY, {{70, 20}, {200, 240}}},
          {RELEASE, 240, 200, 0, ANY},
          {PRESS, 70, 200, CTRL, CURVE_BEEP}}},
        // Row 127 is level 128 of the view, not above it. Row 126 is level 129: y comes from
        // the line 20 + 200 (x - 50) / 150, where 86.67 rounds up; a sideways handle has
        // nothing to follow. Before the first point y is 0, after the last 255.
        {"histogram view adds on the curve in the upper part only",
         CURVE_VIEW_HISTOGRAM,
         ends,
         {{PRESS, 100, 127, SHIFT, CURVE_BEEP, ends},
          {PRESS,
           100,
           126,
           SHIFT,
           CURVE_CHANGED,
           {{50, 20}, {100, 87}, {200, 220}},
           CURVE_DRAG_NONE},
          {MOVE, 30, 30, 0, 0},
          {RELEASE, 30, 30, 0, CURVE_NOTIFY},
          {PRESS, 10, 20, SHIFT, ANY},
          {PRESS, 230, 20, SHIFT, ANY, {{10, 0}, {50, 20}, {100, 87}, {200, 220}, {230, 255}}}}},
    };
    for (const Gesture &gesture : gestures) {
        SCOPED_TRACE(gesture.what);
        GrayCurve curve;
        GrayCurveInit(&curve);
        curve.viewMode = gesture.view;
        if (!gesture.start.empty()) {
            CurvePoints record = {};
            record.pointCount = (int)gesture.start.size();
            for (size_t i = 0; i < gesture.start.size(); i++) {
                record.x[i] = gesture.start[i].first;
                record.y[i] = gesture.start[i].second;
            }
            record.style = CURVE_LINEAR;
            ASSERT_EQ(GrayCurveSetPoints(&curve, &record), ERROR_NONE);
        }
        for (size_t i = 0; i < gesture.steps.size(); i++) {
            const MouseStep &step = gesture.steps[i];
            SCOPED_TRACE(testing::Message() << "step " << i);
            int result =
                GrayCurveMouse(&curve, step.event, step.column, step.row, step.keys, 256, 256);
            EXPECT_EQ(step.result == ANY ? ANY : result, step.result);
            EXPECT_EQ(step.drag == ANY ? ANY : curve.drag, step.drag);
            EXPECT_EQ(step.selected == ANY ? ANY : curve.selected, step.selected);
            if (step.points.empty()) continue;
            PointList points;
            for (int p = 0; p < curve.pointCount; p++)
                points.push_back({curve.x[p], curve.y[p]});
            EXPECT_EQ(points, step.points);
            // The table follows the points at once.
            for (auto [x, y] : step.points)
                EXPECT_EQ(curve.table[x], y) << "at " << x;
        }
    }
}

TEST(CurveMouse, BrokenRecordIsLeftAlone)
{
    TestStart();
    GrayCurve curve;
    GrayCurveInit(&curve);
    curve.pointCount = 300;
    EXPECT_EQ(GrayCurveMouse(&curve, CURVE_MOUSE_PRESS, 10, 10, CURVE_KEY_SHIFT, 256, 256), 0);
    EXPECT_EQ(GrayCurveMouse(&curve, CURVE_MOUSE_MOVE, 20, 20, 0, 256, 256), 0);
    EXPECT_EQ(curve.pointCount, 300);
    GrayCurveReset(&curve);
    EXPECT_EQ(GrayCurveMouse(&curve, CURVE_MOUSE_PRESS, 0, 0, 0, 1, 1), 0);
}

// The bytes of a file, and a reader run over them.
static std::string WriteBytes(const std::string &name, const std::vector<uint8_t> &bytes)
{
    std::string path = TestOutputFolder("CurveFiles") + "/" + name;
    TestWriteFile(path, bytes);
    return path;
}

static std::vector<uint8_t> Bytes(const std::string &text)
{
    return std::vector<uint8_t>(text.begin(), text.end());
}

// A curve record with a guard after its tables, to catch a write past them.
struct GuardedCurve {
    int32_t pointCount;
    int32_t style;
    int32_t histExpand;
    int32_t x[CURVE_POINT_MAX];
    int32_t guardX[8];
    int32_t y[CURVE_POINT_MAX];
    int32_t guardY[8];
};

static void GuardedReset(GuardedCurve *curve)
{
    memset(curve, 0x77, sizeof *curve);
    curve->pointCount = 2;
    curve->style = CURVE_SPLINE;
    curve->histExpand = 0;
    curve->x[0] = curve->y[0] = 0;
    curve->x[1] = curve->y[1] = 255;
}

static ErrorCode ReadCurvePath(const std::string &path, GuardedCurve *curve)
{
    FileHandle file = FILE_HANDLE_NONE;
    EXPECT_EQ(FileOpenRead(path.c_str(), &file), ERROR_NONE);
    ErrorCode result = ReadCurveFile(file, &curve->pointCount, curve->x, curve->y, &curve->style,
                                     &curve->histExpand);
    FileClose(&file);
    for (int i = 0; i < 8; i++) {
        EXPECT_EQ(curve->guardX[i], 0x77777777);
        EXPECT_EQ(curve->guardY[i], 0x77777777);
    }
    return result;
}

TEST(CurveFile, WrittenFileHasItsLinesAndReadsBack)
{
    TestStart();
    std::string path = TestOutputFolder("CurveFileWrite") + "/a.crv";
    FileHandle file = FILE_HANDLE_NONE;
    const int32_t x[3] = {0, 128, 255}, y[3] = {10, 200, 250};
    ASSERT_EQ(FileCreate(path.c_str(), &file), ERROR_NONE);
    ASSERT_EQ(WriteCurveFile(file, 3, x, y, CURVE_LINEAR, CURVE_EXPAND_MEDIUM), ERROR_NONE);
    ASSERT_EQ(FileClose(&file), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(path);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
              "Curve 1.0\r\nnpts 3\r\nstyle linear\r\nhistexpand 1\r\n"
              "point 0 0 10\r\npoint 1 128 200\r\npoint 2 255 250\r\nend\r\n");
    GuardedCurve curve;
    GuardedReset(&curve);
    ASSERT_EQ(ReadCurvePath(path, &curve), ERROR_NONE);
    EXPECT_EQ(curve.pointCount, 3);
    EXPECT_EQ(curve.style, CURVE_LINEAR);
    EXPECT_EQ(curve.histExpand, CURVE_EXPAND_MEDIUM);
    EXPECT_EQ(curve.x[1], 128);
    EXPECT_EQ(curve.y[1], 200);
    EXPECT_EQ(curve.y[2], 250);
}

TEST(CurveFile, KeysInAnyOrderAndCase)
{
    TestStart();
    std::string path = WriteBytes("order.crv", Bytes("curve 1.0\n\npoint 2 255 0\nPOINT 0 0 255\n"
                                                     "Style STEP\npoint 1 99 9\nnpts 3\nEND\n"));
    GuardedCurve curve;
    GuardedReset(&curve);
    ASSERT_EQ(ReadCurvePath(path, &curve), ERROR_NONE);
    EXPECT_EQ(curve.pointCount, 3);
    EXPECT_EQ(curve.style, CURVE_STEP);
    EXPECT_EQ(curve.x[1], 99);
    EXPECT_EQ(curve.y[0], 255);
}

// Every hostile curve file, its code, and what stays from before its fault.
TEST(CurveFile, HostileFilesAreRefusedWithoutWritingOutsideTheTables)
{
    TestStart();
    struct Case {
        const char *name;
        int32_t pointCount; // after the read, from the identity curve
        int32_t style;
        int32_t x1; // x[1] afterwards
    };
    const Case cases[] = {
        {"curve-no-end.crv", 3, CURVE_LINEAR, 128}, // values stay, file refused
        {"curve-wrong-header.crv", 2, CURVE_SPLINE, 255},
        {"curve-wrong-version.crv", 2, CURVE_SPLINE, 255},
        {"curve-unknown-key.crv", 3, CURVE_SPLINE, 255}, // npts read before it
        {"curve-index-256.crv", 3, CURVE_LINEAR, 128},   // point 256 would pass the table
        {"curve-index-negative.crv", 3, CURVE_LINEAR, 255},
        {"curve-npts-257.crv", 2, CURVE_SPLINE, 255},
        {"curve-npts-1.crv", 2, CURVE_SPLINE, 255},
        {"curve-level-300.crv", 3, CURVE_SPLINE, 255},
        {"curve-style-word.crv", 3, CURVE_SPLINE, 255},
        {"curve-not-rising.crv", 3, CURVE_SPLINE, 200},    // all read, then no curve
        {"curve-missing-point.crv", 3, CURVE_SPLINE, 255}, // point 2 never given
        {"curve-long-line.crv", 3, CURVE_SPLINE, 255},
        {"curve-binary.crv", 2, CURVE_SPLINE, 255},
        {"curve-bad-number.crv", 3, CURVE_SPLINE, 255},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        GuardedCurve curve;
        GuardedReset(&curve);
        EXPECT_EQ(ReadCurvePath(TestDataPath(std::string("hostile/") + c.name), &curve),
                  ERROR_ILLEGAL_CURVE_FILE);
        EXPECT_EQ(curve.pointCount, c.pointCount);
        EXPECT_EQ(curve.style, c.style);
        EXPECT_EQ(curve.x[1], c.x1);
    }
}

TEST(GrayCurve, LoadResetsOnABadFileAndSaveRoundTrips)
{
    TestStart();
    std::string folder = TestOutputFolder("GrayCurveLoad");
    static GrayCurve curve;
    GrayCurveInit(&curve);
    CurvePoints points = {};
    points.pointCount = 3;
    points.x[1] = 100;
    points.y[1] = 30;
    points.x[2] = 255;
    points.y[2] = 255;
    points.style = CURVE_STEP;
    points.histExpand = CURVE_EXPAND_HIGH;
    ASSERT_EQ(GrayCurveSetPoints(&curve, &points), ERROR_NONE);
    ASSERT_EQ(GrayCurveSave(&curve, (folder + "/a.crv").c_str()), ERROR_NONE);
    GrayCurveReset(&curve);
    ASSERT_EQ(GrayCurveLoad(&curve, (folder + "/a.crv").c_str()), ERROR_NONE);
    EXPECT_EQ(curve.pointCount, 3);
    EXPECT_EQ(curve.histExpand, CURVE_EXPAND_HIGH);
    EXPECT_EQ(curve.table[100], 30);
    EXPECT_EQ(curve.table[99], 0);
    // A missing file changes nothing; a bad one leaves the reset curve.
    EXPECT_EQ(GrayCurveLoad(&curve, (folder + "/none.crv").c_str()), ERROR_OPEN_FILE);
    EXPECT_EQ(curve.pointCount, 3);
    EXPECT_EQ(GrayCurveLoad(&curve, TestDataPath("hostile/curve-no-end.crv").c_str()),
              ERROR_ILLEGAL_CURVE_FILE);
    EXPECT_EQ(curve.pointCount, 2);
    EXPECT_EQ(curve.style, CURVE_SPLINE);
    EXPECT_EQ(curve.histExpand, CURVE_EXPAND_LINEAR);
    EXPECT_EQ(curve.table[100], 100);
}

// Big-endian 16-bit numbers, as Photoshop writes them.
static void Put16(std::vector<uint8_t> *bytes, int value)
{
    bytes->push_back((uint8_t)((value >> 8) & 0xff));
    bytes->push_back((uint8_t)(value & 0xff));
}

// One ".acv" curve: its count, then output before input for each point.
static void PutAcvCurve(std::vector<uint8_t> *bytes, std::vector<std::pair<int, int>> points)
{
    Put16(bytes, (int)points.size());
    for (auto point : points) {
        Put16(bytes, point.second);
        Put16(bytes, point.first);
    }
}

static ErrorCode ReadForeign(const std::string &path, int acv, int32_t *colorSpace,
                             CurvePoints curves[3])
{
    FileHandle file = FILE_HANDLE_NONE;
    EXPECT_EQ(FileOpenRead(path.c_str(), &file), ERROR_NONE);
    ErrorCode result =
        acv ? ReadAcvFile(file, colorSpace, curves) : ReadAmpFile(file, colorSpace, curves);
    FileClose(&file);
    return result;
}

static void ResetCurves(int32_t *colorSpace, CurvePoints curves[3])
{
    *colorSpace = 0;
    for (int c = 0; c < 3; c++) {
        CurvePointsReset(&curves[c]);
        curves[c].style = CURVE_STEP;
        curves[c].histExpand = CURVE_EXPAND_HIGH;
    }
}

TEST(AcvFile, OneCurveServesAllThreeChannels)
{
    TestStart();
    std::vector<uint8_t> bytes;
    Put16(&bytes, 1); // version
    Put16(&bytes, 1); // one curve
    PutAcvCurve(&bytes, {{0, 10}, {64, 100}, {255, 240}});
    std::string path = WriteBytes("one.acv", bytes);
    int32_t colorSpace;
    CurvePoints curves[3];
    ResetCurves(&colorSpace, curves);
    ASSERT_EQ(ReadForeign(path, 1, &colorSpace, curves), ERROR_NONE);
    EXPECT_EQ(colorSpace, 2);
    for (int c = 0; c < 3; c++) {
        SCOPED_TRACE(c);
        EXPECT_EQ(curves[c].pointCount, 3);
        EXPECT_EQ(curves[c].x[1], 64); // input second in the file
        EXPECT_EQ(curves[c].y[1], 100);
        EXPECT_EQ(curves[c].y[0], 10);
        EXPECT_EQ(curves[c].style, CURVE_SPLINE);
        EXPECT_EQ(curves[c].histExpand, CURVE_EXPAND_HIGH); // not the file's business
    }
}

TEST(AcvFile, FiveCurvesSkipTheCompositeAndTheFifth)
{
    TestStart();
    std::vector<uint8_t> bytes;
    Put16(&bytes, 4);
    Put16(&bytes, 5);
    PutAcvCurve(&bytes, {{0, 255}, {255, 0}});                      // composite: no effect
    PutAcvCurve(&bytes, {{0, 0}, {128, 150}, {255, 255}});          // red
    PutAcvCurve(&bytes, {{0, 20}, {255, 235}});                     // green
    PutAcvCurve(&bytes, {{0, 0}, {30, 60}, {90, 100}, {255, 200}}); // blue
    PutAcvCurve(&bytes, {{0, 255}, {255, 255}});                    // fifth: no effect
    std::string path = WriteBytes("five.acv", bytes);
    int32_t colorSpace;
    CurvePoints curves[3];
    ResetCurves(&colorSpace, curves);
    ASSERT_EQ(ReadForeign(path, 1, &colorSpace, curves), ERROR_NONE);
    EXPECT_EQ(curves[0].pointCount, 3);
    EXPECT_EQ(curves[0].y[1], 150);
    EXPECT_EQ(curves[1].pointCount, 2);
    EXPECT_EQ(curves[1].y[0], 20);
    EXPECT_EQ(curves[1].y[1], 235);
    EXPECT_EQ(curves[2].pointCount, 4);
    EXPECT_EQ(curves[2].x[2], 90);
    EXPECT_EQ(curves[2].y[3], 200);
    // The red curve makes a table as any other.
    uint8_t table[256];
    ASSERT_EQ(CurveTableFromPoints(curves[0].pointCount, curves[0].x, curves[0].y, curves[0].style,
                                   table),
              ERROR_NONE);
    EXPECT_EQ(table[128], 150);
}

TEST(ForeignCurveFile, HostileFilesChangeNothing)
{
    TestStart();
    const struct {
        const char *name;
        int acv; // 0 for a map file
    } files[] = {
        {"acv-version-2.acv", 1},  {"acv-count-3.acv", 1},        {"acv-truncated.acv", 1},
        {"acv-empty.acv", 1},      {"acv-count-0-points.acv", 1}, {"acv-level-300.acv", 1},
        {"acv-not-rising.acv", 1}, {"acv-header-only.acv", 1},    {"acv-negative-count.acv", 1},
        {"acv-huge-count.acv", 1}, {"amp-short-100.amp", 0},      {"amp-empty.amp", 0},
        {"amp-767.amp", 0},
    };
    for (const auto &file : files) {
        SCOPED_TRACE(file.name);
        int32_t colorSpace;
        CurvePoints curves[3];
        ResetCurves(&colorSpace, curves);
        EXPECT_EQ(ReadForeign(TestDataPath(std::string("hostile/") + file.name), file.acv,
                              &colorSpace, curves),
                  ERROR_ILLEGAL_COLOR_CURVE_FILE);
        EXPECT_EQ(colorSpace, 0);
        for (int c = 0; c < 3; c++) {
            EXPECT_EQ(curves[c].pointCount, 2);
            EXPECT_EQ(curves[c].style, CURVE_STEP);
            EXPECT_EQ(curves[c].x[1], 255);
        }
    }
}

TEST(AmpFile, ThreeTablesBecomeLinearCurvesOf256Points)
{
    TestStart();
    std::vector<uint8_t> bytes;
    for (int i = 0; i < 256; i++)
        bytes.push_back((uint8_t)i); // red: identity
    for (int i = 0; i < 256; i++)
        bytes.push_back((uint8_t)(255 - i)); // green: inverted
    for (int i = 0; i < 256; i++)
        bytes.push_back(128); // blue: flat
    std::string path = WriteBytes("map.amp", bytes);
    int32_t colorSpace;
    CurvePoints curves[3];
    ResetCurves(&colorSpace, curves);
    ASSERT_EQ(ReadForeign(path, 0, &colorSpace, curves), ERROR_NONE);
    EXPECT_EQ(colorSpace, 2);
    for (int c = 0; c < 3; c++) {
        EXPECT_EQ(curves[c].pointCount, 256);
        EXPECT_EQ(curves[c].style, CURVE_LINEAR);
        EXPECT_EQ(curves[c].x[200], 200);
    }
    EXPECT_EQ(curves[0].y[10], 10);
    EXPECT_EQ(curves[1].y[10], 245);
    EXPECT_EQ(curves[2].y[10], 128);
    // Each table comes back exactly through the linear curve.
    for (int c = 0; c < 3; c++) {
        uint8_t table[256];
        ASSERT_EQ(CurveTableFromPoints(256, curves[c].x, curves[c].y, CURVE_LINEAR, table),
                  ERROR_NONE);
        for (int i = 0; i < 256; i++)
            ASSERT_EQ(table[i], bytes[256 * c + i]);
    }
    // A longer file gives its first 768 bytes.
    bytes.resize(1024, 7);
    ResetCurves(&colorSpace, curves);
    ASSERT_EQ(ReadForeign(WriteBytes("long.amp", bytes), 0, &colorSpace, curves), ERROR_NONE);
    EXPECT_EQ(curves[2].y[255], 128);
}
