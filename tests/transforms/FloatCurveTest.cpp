// The real-valued curve: tables of any length from the first point to the last, its mouse
// rules on a plot from 0 to 1, and its ".fcrv" file with the hostile ones.
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/support/TestSupport.h"
#include "transforms/FloatCurve.h"

static void SetCurve(FloatCurve *curve, std::vector<std::pair<double, double>> points, int style)
{
    FloatCurveReset(curve);
    curve->pointCount = (int)points.size();
    for (size_t i = 0; i < points.size(); i++) {
        curve->x[i] = points[i].first;
        curve->y[i] = points[i].second;
    }
    curve->style = style;
}

static std::vector<double> Table(const FloatCurve &curve, int size)
{
    std::vector<double> table((size_t)size, -1.0);
    EXPECT_EQ(BuildFloatCurveTable(&curve, table.data(), size), ERROR_NONE);
    return table;
}

TEST(FloatCurveTable, IdentityAsLineAndSpline)
{
    TestStart();
    FloatCurve curve;
    for (int style : {CURVE_LINEAR, CURVE_SPLINE}) {
        SCOPED_TRACE(style);
        SetCurve(&curve, {{0.0, 0.0}, {1.0, 1.0}}, style);
        std::vector<double> table = Table(curve, 1001);
        for (int i = 0; i <= 1000; i++)
            ASSERT_NEAR(table[i], i / 1000.0, 1e-12);
    }
}

TEST(FloatCurveTable, FirstAndLastPointsAreTheEnds)
{
    TestStart();
    // The points need not reach 0 and 1: the table runs from the first to the last.
    FloatCurve curve;
    SetCurve(&curve, {{0.2, 0.1}, {0.6, 0.9}}, CURVE_LINEAR);
    std::vector<double> table = Table(curve, 3);
    EXPECT_DOUBLE_EQ(table[0], 0.1);
    EXPECT_DOUBLE_EQ(table[1], 0.5);
    EXPECT_DOUBLE_EQ(table[2], 0.9);
    // The knot between falls where its share of the span says: 0.3 of the way.
    SetCurve(&curve, {{0.2, 0.0}, {0.32, 1.0}, {0.6, 0.0}}, CURVE_LINEAR);
    table = Table(curve, 11);
    EXPECT_NEAR(table[3], 1.0, 1e-12);
    EXPECT_NEAR(table[1], 1.0 / 3.0, 1e-12);
    EXPECT_NEAR(table[10], 0.0, 1e-12);
}

TEST(FloatCurveTable, StairStepHoldsEachStart)
{
    TestStart();
    FloatCurve curve;
    SetCurve(&curve, {{0.0, 0.0}, {0.5, 0.8}, {1.0, 1.0}}, CURVE_STEP);
    std::vector<double> table = Table(curve, 5);
    EXPECT_EQ(table, (std::vector<double>{0.0, 0.0, 0.8, 0.8, 0.8}));
}

TEST(FloatCurveTable, SplinePeakIsLevelAndStaysWithinItsEnds)
{
    TestStart();
    // A symmetric peak: chord slopes 2 and -2, a level tangent at the top; halfway up each
    // side the cubic gives 0.5 + 0.125.
    FloatCurve curve;
    SetCurve(&curve, {{0.0, 0.0}, {0.5, 1.0}, {1.0, 0.0}}, CURVE_SPLINE);
    std::vector<double> table = Table(curve, 5);
    EXPECT_NEAR(table[1], 0.625, 1e-12);
    EXPECT_NEAR(table[2], 1.0, 1e-12);
    EXPECT_NEAR(table[3], 0.625, 1e-12);
    table = Table(curve, 4097);
    for (double value : table)
        ASSERT_TRUE(value >= 0.0 && value <= 1.0) << value;
    // There is no power-curve short cut for real curves: three rising points make a spline
    // through the middle one.
    SetCurve(&curve, {{0.0, 0.0}, {0.5, 0.7}, {1.0, 1.0}}, CURVE_SPLINE);
    table = Table(curve, 3);
    EXPECT_NEAR(table[1], 0.7, 1e-12);
}

TEST(FloatCurveTable, OddSizesAndBadPoints)
{
    TestStart();
    FloatCurve curve;
    SetCurve(&curve, {{0.0, 0.25}, {1.0, 0.75}}, CURVE_LINEAR);
    double one = -1.0;
    EXPECT_EQ(BuildFloatCurveTable(&curve, &one, 1), ERROR_NONE);
    EXPECT_EQ(one, 0.25);
    EXPECT_EQ(BuildFloatCurveTable(&curve, nullptr, 0), ERROR_NONE);
    SetCurve(&curve, {{0.5, 0.0}, {0.5, 1.0}}, CURVE_LINEAR);
    EXPECT_EQ(BuildFloatCurveTable(&curve, &one, 1), ERROR_SPLINE_CURVE);
    SetCurve(&curve, {{0.0, 0.0}, {NAN, 1.0}}, CURVE_LINEAR);
    EXPECT_EQ(BuildFloatCurveTable(&curve, &one, 1), ERROR_SPLINE_CURVE);
    curve.pointCount = 257;
    EXPECT_EQ(BuildFloatCurveTable(&curve, &one, 1), ERROR_SPLINE_CURVE);
}

// A plot of 101 by 101 pixels: column c is c / 100 and row r is (100 - r) / 100.
class FloatCurveMouseTest : public ::testing::Test {
  protected:
    void SetUp() override
    {
        TestStart();
        FloatCurveReset(&curve);
    }
    int Event(int event, int column, int row, int keys = 0)
    {
        return FloatCurveMouse(&curve, event, column, row, keys, 101, 101);
    }
    FloatCurve curve;
};

TEST_F(FloatCurveMouseTest, AddDragAndRemoveAsTheGrayControl)
{
    EXPECT_EQ(Event(CURVE_MOUSE_PRESS, 30, 60, CURVE_KEY_SHIFT), CURVE_CHANGED);
    ASSERT_EQ(curve.pointCount, 3);
    EXPECT_DOUBLE_EQ(curve.x[1], 0.3);
    EXPECT_DOUBLE_EQ(curve.y[1], 0.4);
    EXPECT_EQ(Event(CURVE_MOUSE_MOVE, 150, 60), CURVE_CHANGED);
    // One pixel short of the last point at 1.
    EXPECT_NEAR(curve.x[1], 0.99, 1e-12);
    EXPECT_EQ(Event(CURVE_MOUSE_RELEASE, 150, 60), CURVE_NOTIFY);
    // The same column again is an x in use.
    EXPECT_EQ(Event(CURVE_MOUSE_PRESS, 99, 10, CURVE_KEY_SHIFT), 0);
    EXPECT_EQ(curve.pointCount, 3);
    EXPECT_EQ(Event(CURVE_MOUSE_RELEASE, 99, 10), 0);
    // Ctrl within four pixels removes it; the last two stay.
    EXPECT_EQ(Event(CURVE_MOUSE_PRESS, 96, 63, CURVE_KEY_CONTROL), CURVE_CHANGED);
    EXPECT_EQ(curve.pointCount, 2);
    EXPECT_EQ(Event(CURVE_MOUSE_PRESS, 0, 100, CURVE_KEY_CONTROL), CURVE_BEEP);
}

TEST_F(FloatCurveMouseTest, AxisDragsMoveOneCoordinate)
{
    SetCurve(&curve, {{0.0, 0.0}, {0.5, 0.2}, {1.0, 1.0}}, CURVE_SPLINE);
    EXPECT_EQ(Event(CURVE_MOUSE_PRESS, 2, 82), 0); // the left axis at height 0.2
    EXPECT_EQ(curve.drag, CURVE_DRAG_Y);
    Event(CURVE_MOUSE_MOVE, 70, 30);
    EXPECT_DOUBLE_EQ(curve.x[1], 0.5);
    EXPECT_DOUBLE_EQ(curve.y[1], 0.7);
    Event(CURVE_MOUSE_RELEASE, 70, 30);
    EXPECT_EQ(Event(CURVE_MOUSE_PRESS, 52, 98), 0); // the bottom axis at 0.5
    EXPECT_EQ(curve.drag, CURVE_DRAG_X);
    Event(CURVE_MOUSE_MOVE, 20, 0);
    EXPECT_DOUBLE_EQ(curve.x[1], 0.2);
    EXPECT_DOUBLE_EQ(curve.y[1], 0.7);
}

static ErrorCode ReadPath(const std::string &path, FloatCurve *curve)
{
    FileHandle file = FILE_HANDLE_NONE;
    EXPECT_EQ(FileOpenRead(path.c_str(), &file), ERROR_NONE);
    ErrorCode result =
        ReadFloatCurveFile(file, &curve->pointCount, curve->x, curve->y, &curve->style);
    FileClose(&file);
    return result;
}

TEST(FloatCurveFile, FourDecimalsWrittenAndReadBack)
{
    TestStart();
    std::string path = TestOutputFolder("FloatCurveFile") + "/a.fcrv";
    FloatCurve curve;
    SetCurve(&curve, {{0.0, 0.0}, {0.123456, 0.98765}, {1.0, 1.0}}, CURVE_STEP);
    FileHandle file = FILE_HANDLE_NONE;
    ASSERT_EQ(FileCreate(path.c_str(), &file), ERROR_NONE);
    ASSERT_EQ(WriteFloatCurveFile(file, curve.pointCount, curve.x, curve.y, curve.style),
              ERROR_NONE);
    ASSERT_EQ(FileClose(&file), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(path);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
              "Curve 1.0\r\nnpts 3\r\nstyle step\r\npoint 0 0.0000 0.0000\r\n"
              "point 1 0.1235 0.9877\r\npoint 2 1.0000 1.0000\r\nend\r\n");
    FloatCurve read;
    FloatCurveReset(&read);
    ASSERT_EQ(ReadPath(path, &read), ERROR_NONE);
    EXPECT_EQ(read.pointCount, 3);
    EXPECT_EQ(read.style, CURVE_STEP);
    EXPECT_DOUBLE_EQ(read.x[1], 0.1235);
    EXPECT_DOUBLE_EQ(read.y[1], 0.9877);
    // The 8-bit curve file reads here too when its levels are within 0..1.
    std::string levels = TestOutputFolder("FloatCurveFileLevels") + "/b.fcrv";
    std::string text =
        "Curve 1.0\r\nnpts 2\r\nstyle linear\r\npoint 0 0 0\r\npoint 1 1 50%\r\nend\r\n";
    TestWriteFile(levels, std::vector<uint8_t>(text.begin(), text.end()));
    ASSERT_EQ(ReadPath(levels, &read), ERROR_NONE);
    EXPECT_EQ(read.y[1], 0.5);
}

TEST(FloatCurveFile, HostileFilesAreRefusedKeepingWhatCameBefore)
{
    TestStart();
    struct Case {
        const char *name;
        int32_t pointCount;
        int32_t style;
    };
    const Case cases[] = {
        {"curve-float-no-end.fcrv", 3, CURVE_LINEAR},
        {"curve-float-histexpand.fcrv", 2, CURVE_SPLINE},
        {"curve-float-above-one.fcrv", 2, CURVE_SPLINE},
        {"curve-float-index-256.fcrv", 2, CURVE_SPLINE},
        {"curve-float-not-a-number.fcrv", 2, CURVE_SPLINE},
        {"curve-float-overflow.fcrv", 2, CURVE_SPLINE},
        {"curve-float-equal-x.fcrv", 3, CURVE_SPLINE},
        {"curve-binary.crv", 2, CURVE_SPLINE},
        {"curve-index-256.crv", 3, CURVE_LINEAR},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        FloatCurve curve;
        FloatCurveReset(&curve);
        EXPECT_EQ(ReadPath(TestDataPath(std::string("hostile/") + c.name), &curve),
                  ERROR_ILLEGAL_CURVE_FILE);
        EXPECT_EQ(curve.pointCount, c.pointCount);
        EXPECT_EQ(curve.style, c.style);
    }
}
