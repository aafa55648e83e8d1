// The protocol of the transformation dialogs, driven headless through a small dialog that
// runs Gamma Adjust: the arguments each computation gets at every zoom, the strips a
// scrolled preview asks for, the flags across Preview, Apply, OK and Cancel, aborts and
// failures, and the preview window's own rules.
#include <cmath>
#include <cstring>
#include <vector>

#include "core/Helpers.h"
#include "core/Preferences.h"
#include "shell/Commands.h"
#include "tests/shell/ShellTestSupport.h"
#include "tests/support/TestImage.h"
#include "transforms/GammaAdjust.h"
#include "ui/Display.h"
#include "ui/Transform.h"

namespace {

constexpr int KIND_TEST_DIALOG = 66;

// One call of the compute function, as it was made.
struct ComputeCall {
    const Image *source;
    Image *destination;
    int full, destinationWidth, destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h;
};

std::vector<ComputeCall> Calls;
ErrorCode FailFull = ERROR_NONE; // what an Apply answers instead of computing
GammaSettings Settings;

ErrorCode RecordingCompute(const Image *source, Image *destination, Picture *picture, void *params,
                           int full, int destinationWidth, int destinationHeight, int sourceX,
                           int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h)
{
    Calls.push_back({source, destination, full, destinationWidth, destinationHeight, sourceX,
                     sourceY, zoom, x0, y0, x1, y1, w, h});
    if (full && FailFull != ERROR_NONE) return FailFull;
    return GammaCompute(source, destination, picture, params, full, destinationWidth,
                        destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
}

// A dialog with no controls of its own: everything goes through the shared handling.
TransformDescriptor TestTransform()
{
    TransformDescriptor transform = GammaTransform;
    transform.name = "Test";
    transform.compute = RecordingCompute;
    return transform;
}
const TransformDescriptor TEST_TRANSFORM = TestTransform();
// Only the descriptor and the chooser: the protocol's own messages need nothing else.
const TransformDialogKind TEST_KIND = {
    &TEST_TRANSFORM,        103,    nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr,
    DIALOG_BUTTONS_PREVIEW, nullptr};

MessageResult TestDialogProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                  intptr_t lParam)
{
    if (TransformDialogMessage(window, message, wParam, lParam, &TEST_KIND, &Settings)) return 0;
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

class Transform : public ShellTest {
  protected:
    void SetUp() override
    {
        ShellTest::SetUp();
        Calls.clear();
        FailFull = ERROR_NONE;
        GammaSettingsDefault(&Settings);
        Settings.factor = 0.5;
        ChildKindRegister(KIND_TEST_DIALOG, TestDialogProcedure);
    }

    // Opens the dialog on input, as a transformation's command does.
    WindowHandle Open(WindowHandle input)
    {
        ImageWindow *record = WindowRecord(input);
        InputWindow = input;
        OutputWidth = record->picture.image.width;
        OutputHeight = record->picture.image.height;
        OutputResolution = record->picture.image.resolution;
        WindowHandle dialog = CreateDialogWindow("Test", 400, 120, KIND_TEST_DIALOG, 0);
        EXPECT_NE(dialog, nullptr);
        CreateTransformButtons(dialog, Margin, Margin);
        MarkInUse(dialog, input, "Test", 1);
        PlatformShowWindow(dialog, SHOW_NORMAL);
        return dialog;
    }

    ImageWindow *Preview(void)
    {
        return OutputWindow != nullptr ? WindowRecord(OutputWindow) : nullptr;
    }

    // Image windows of the workspace other than the given ones.
    int ImageWindowsBesides(WindowHandle input)
    {
        int count = 0;
        for (WindowHandle child = PlatformFirstChild(); child != nullptr;
             child = PlatformNextChild(child))
            count += child != input && PlatformGetWindowWord(child, WORD_KIND) == KIND_IMAGE;
        return count;
    }
};

// The sample of the gamma table for an 8-bit value, worked the way the table is built.
int GammaOf(int value, double factor)
{
    return Round(pow(value / 255.0, factor) * 255.0);
}

} // namespace

TEST_F(Transform, AReducedPreviewOfAHundredColumnsIsThirtyFourWideAndEndsAtColumnNinetyNine)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 100, 60);
    WindowHandle dialog = Open(input);
    HeadlessClick(dialog, BUTTON_PREVIEW);
    ASSERT_NE(Preview(), nullptr);
    ASSERT_EQ(Preview()->zoom, 1); // 100 by 60 fits half of the workspace
    // Zoom 1: the whole view, column for column.
    ASSERT_EQ(Calls.size(), 1u);
    EXPECT_EQ(Calls[0].zoom, 1);
    EXPECT_EQ(Calls[0].w, 100);
    EXPECT_EQ(Calls[0].h, 60);
    EXPECT_EQ(Calls[0].sourceX, 0);
    EXPECT_EQ(Calls[0].sourceY, 0);
    EXPECT_EQ(Calls[0].destination, &Preview()->view);

    // Two steps out: 1, then -2, then -3; each asks the dialog for the whole view.
    Calls.clear();
    PlatformSendMessage(OutputWindow, MSG_COMMAND, COMMAND_ZOOM_OUT, 0);
    PlatformSendMessage(OutputWindow, MSG_COMMAND, COMMAND_ZOOM_OUT, 0);
    ASSERT_EQ(Preview()->zoom, -3);
    ASSERT_EQ(Calls.size(), 2u);
    const ComputeCall &call = Calls[1];
    EXPECT_EQ(call.zoom, -3);
    EXPECT_EQ(call.destinationWidth, 34);
    EXPECT_EQ(call.destinationHeight, 20);
    EXPECT_EQ(call.w, 34);
    EXPECT_EQ(call.h, 20);
    EXPECT_EQ(call.sourceX + (call.w - 1) * 3, 99);

    // The view holds every third pixel of the picture through the table.
    const Image &picture = WindowRecord(input)->picture.image;
    const Image &view = Preview()->view;
    ASSERT_EQ(view.width, 34);
    for (int y = 0; y < view.height; y++)
        for (int x = 0; x < view.width; x++)
            ASSERT_EQ(view.rows[y][x], GammaOf(picture.rows[3 * y][3 * x], 0.5)) << x << "," << y;
}

TEST_F(Transform, AMagnifiedPreviewAsksForWholePixelsAndScrollsByRoundedStrips)
{
    // An odd width: the view's last column shows half of a picture pixel, which is asked for.
    WindowHandle input = MakePicture(TYPE_GRAY8, 99, 60);
    WindowHandle dialog = Open(input);
    HeadlessClick(dialog, BUTTON_PREVIEW);
    PlatformSendMessage(OutputWindow, MSG_COMMAND, COMMAND_ZOOM_IN, 0);
    ImageWindow *preview = Preview();
    ASSERT_EQ(preview->zoom, 2);
    // The window kept its size, so the doubled picture scrolls.
    ASSERT_GT(preview->scrollRangeX, 0);
    const ComputeCall whole = Calls.back();
    EXPECT_EQ(whole.x0, 0);
    EXPECT_EQ(whole.w, (whole.x1 + 2) / 2);
    EXPECT_EQ(whole.sourceX, preview->sourceLeft);
    EXPECT_EQ(whole.sourceY, 60 - 1 - preview->sourceBottom);
    EXPECT_EQ(preview->viewWidth % 2, 1);

    // One line to the right: the view moves and only the new strip is asked for, its edge
    // on a whole picture pixel.
    Calls.clear();
    int before = preview->scrollLeft;
    PlatformSendMessage(OutputWindow, MSG_HSCROLL, SCROLL_LINE_DOWN, 0);
    int moved = preview->scrollLeft - before;
    ASSERT_GT(moved, 0);
    ASSERT_EQ(Calls.size(), 1u);
    const ComputeCall &strip = Calls[0];
    EXPECT_EQ(strip.x0 % 2, 0);
    EXPECT_EQ(strip.x1, preview->viewWidth - 1);
    EXPECT_LE(strip.x1 - strip.x0 + 1, moved + 1);
    EXPECT_EQ(strip.w, (strip.x1 - strip.x0 + 2) / 2);
    EXPECT_EQ(strip.sourceX, preview->sourceLeft + strip.x0 / 2);

    // The moved view and its strip equal a view computed whole at the new place.
    TestImage scrolled;
    ASSERT_EQ(ImageCopy(&preview->view, &scrolled, 0), ERROR_NONE);
    PlatformSendMessage(dialog, MSG_PREVIEW_REGION, (uintptr_t)OutputWindow, 0);
    ExpectImagesNear(scrolled, preview->view, 0);
}

TEST_F(Transform, VerticalStripsCountRowsFromTheBottom)
{
    WindowHandle input = MakePicture(TYPE_COLOR24, 300, 1500);
    WindowHandle dialog = Open(input);
    HeadlessClick(dialog, BUTTON_PREVIEW);
    PlatformSendMessage(OutputWindow, MSG_COMMAND, COMMAND_ZOOM_ONE, 0);
    ImageWindow *preview = Preview();
    ASSERT_EQ(preview->zoom, 1);
    ASSERT_GT(preview->scrollRangeY, 0);
    PlatformSendMessage(OutputWindow, MSG_VSCROLL, SCROLL_TOP, 0);
    Calls.clear();
    PlatformSendMessage(OutputWindow, MSG_VSCROLL, SCROLL_LINE_DOWN, 0);
    ASSERT_EQ(Calls.size(), 1u);
    // Scrolling down brings rows in at the bottom of the view: the strip starts at row 0.
    const ComputeCall &strip = Calls[0];
    EXPECT_EQ(strip.y0, 0);
    EXPECT_EQ(strip.h, preview->scrollTop);
    EXPECT_EQ(strip.sourceY, 1500 - 1 - preview->sourceBottom);
    TestImage scrolled;
    ASSERT_EQ(ImageCopy(&preview->view, &scrolled, 0), ERROR_NONE);
    PlatformSendMessage(dialog, MSG_PREVIEW_REGION, (uintptr_t)OutputWindow, 0);
    ExpectImagesNear(scrolled, preview->view, 0);
}

TEST_F(Transform, StripsAtTheTopOfAReducedViewEqualTheViewComputedWhole)
{
    WindowHandle input = MakePicture(TYPE_COLOR24, 300, 1500);
    WindowHandle dialog = Open(input);
    HeadlessClick(dialog, BUTTON_PREVIEW);
    PlatformSendMessage(OutputWindow, MSG_COMMAND, COMMAND_ZOOM_ONE, 0);
    PlatformSendMessage(OutputWindow, MSG_COMMAND, COMMAND_ZOOM_OUT, 0);
    ImageWindow *preview = Preview();
    ASSERT_EQ(preview->zoom, -2);
    ASSERT_GT(preview->scrollRangeY, 0);
    PlatformSendMessage(OutputWindow, MSG_VSCROLL, SCROLL_BOTTOM, 0);
    Calls.clear();
    PlatformSendMessage(OutputWindow, MSG_VSCROLL, SCROLL_LINE_UP, 0);
    ASSERT_EQ(Calls.size(), 1u);
    EXPECT_GT(Calls[0].y0, 0); // rows come in at the top of the view
    TestImage scrolled;
    ASSERT_EQ(ImageCopy(&preview->view, &scrolled, 0), ERROR_NONE);
    PlatformSendMessage(dialog, MSG_PREVIEW_REGION, (uintptr_t)OutputWindow, 0);
    ExpectImagesNear(scrolled, preview->view, 0);
}

TEST_F(Transform, PreviewApplyOkAndCancelKeepTheirFlags)
{
    WindowHandle input = MakePicture(TYPE_COLOR48, 80, 50);
    WindowHandle dialog = Open(input);
    EXPECT_EQ(PreviewStale, 1);
    EXPECT_EQ(SettingsDirty, 1);

    HeadlessClick(dialog, BUTTON_PREVIEW);
    EXPECT_EQ(PreviewStale, 0);
    EXPECT_FALSE(HeadlessControlEnabled(dialog, BUTTON_PREVIEW));
    EXPECT_EQ(Preview()->view.type, TYPE_COLOR24); // a preview is 8 bits a channel
    EXPECT_NE(HeadlessFindWindow("Preview (1:1)"), nullptr);

    // A current preview computes nothing again.
    HeadlessClick(dialog, BUTTON_PREVIEW);
    EXPECT_EQ(Calls.size(), 1u);

    // A setting changes without Auto: stale, Preview enabled, nothing computed.
    RefreshPreview(&Settings, &TEST_KIND);
    EXPECT_EQ(PreviewStale, 1);
    EXPECT_TRUE(HeadlessControlEnabled(dialog, BUTTON_PREVIEW));
    EXPECT_EQ(Calls.size(), 1u);

    // Apply: the preview goes, the result is a 48-bit image window that belongs to the user.
    HeadlessClick(dialog, BUTTON_APPLY);
    ASSERT_EQ(Calls.size(), 2u);
    EXPECT_EQ(Calls[1].full, 1);
    EXPECT_EQ(OutputWindow, nullptr);
    EXPECT_EQ(SettingsDirty, 0);
    EXPECT_EQ(PreviewStale, 1);
    ASSERT_EQ(ImageWindowsBesides(input), 1);
    WindowHandle applied = ActiveWindow;
    ASSERT_NE(applied, nullptr);
    EXPECT_EQ(PlatformGetWindowWord(applied, WORD_KIND), KIND_IMAGE);
    EXPECT_EQ(PlatformGetWindowWord(applied, WORD_MODIFIED), 1);
    EXPECT_EQ(WindowRecord(applied)->picture.image.type, TYPE_COLOR48);

    // OK right after: nothing computed, the dialog closes, the applied window stays.
    HeadlessClick(dialog, BUTTON_OK);
    EXPECT_EQ(Calls.size(), 2u);
    EXPECT_FALSE(PlatformWindowExists(dialog));
    EXPECT_EQ(DialogWindow, nullptr);
    EXPECT_EQ(CurrentOperation, 0);
    EXPECT_TRUE(PlatformWindowExists(applied));
    EXPECT_EQ(InUseBy(input), nullptr);
}

TEST_F(Transform, SettingsThatChangeNothingPreviewAsTheDisplayShowsAndApplyCopies)
{
    // Large enough for a reduced preview, which the display smooths, and for progress.
    Prefs.smoothZoom = 1;
    Settings.factor = 1.0;
    WindowHandle input = MakePicture(TYPE_COLOR24, 1000, 700);
    WindowHandle dialog = Open(input);
    HeadlessClick(dialog, BUTTON_PREVIEW);
    EXPECT_TRUE(Calls.empty());
    ImageWindow *preview = Preview();
    ASSERT_NE(preview, nullptr);
    ASSERT_LT(preview->zoom, -1);
    ImageWindow display;
    memset(&display, 0, sizeof display);
    display.zoom = preview->zoom;
    display.sourceLeft = preview->sourceLeft;
    display.sourceTop = preview->sourceTop;
    display.sourceRight = preview->sourceRight;
    display.sourceBottom = preview->sourceBottom;
    display.viewWidth = preview->viewWidth;
    display.viewHeight = preview->viewHeight;
    const Image *picture = &WindowRecord(input)->picture.image;
    ASSERT_EQ(RenderView(picture, &display, 0, 0, display.viewWidth - 1, display.viewHeight - 1, 0),
              ERROR_NONE);
    ExpectImagesNear(display.view, preview->view, 0);
    ImageFree(&display.view);
    ImageFree(&display.screen);

    HeadlessClick(dialog, BUTTON_APPLY);
    EXPECT_TRUE(Calls.empty());
    WindowHandle applied = ActiveWindow;
    ASSERT_NE(applied, input);
    ExpectImagesNear(*picture, WindowRecord(applied)->picture.image, 0);
    ASSERT_GT(HeadlessProgressCount(), 0);
    EXPECT_STREQ(HeadlessProgressAt(HeadlessProgressCount() - 1)->title, "Copy");
}

TEST_F(Transform, OkWithChangedSettingsAppliesAndCloses)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 40, 30);
    WindowHandle dialog = Open(input);
    HeadlessClick(dialog, BUTTON_OK);
    ASSERT_EQ(Calls.size(), 1u);
    EXPECT_EQ(Calls[0].full, 1);
    EXPECT_FALSE(PlatformWindowExists(dialog));
    EXPECT_EQ(ImageWindowsBesides(input), 1);
    EXPECT_NE(LastOutput, nullptr);
}

TEST_F(Transform, CancelAfterApplyKeepsTheAppliedWindowAndDropsThePreview)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 40, 30);
    WindowHandle dialog = Open(input);
    HeadlessClick(dialog, BUTTON_APPLY);
    HeadlessClick(dialog, BUTTON_PREVIEW);
    ASSERT_NE(OutputWindow, nullptr);
    WindowHandle preview = OutputWindow;
    HeadlessClick(dialog, BUTTON_CANCEL);
    EXPECT_FALSE(PlatformWindowExists(preview));
    EXPECT_FALSE(PlatformWindowExists(dialog));
    EXPECT_EQ(ImageWindowsBesides(input), 1);
    EXPECT_EQ(ActiveWindow, input);
}

TEST_F(Transform, TwoAppliesStandStaggeredFromTheInput)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 40, 30);
    Rect inputRect;
    PlatformGetWindowRect(input, &inputRect);
    WindowHandle dialog = Open(input);
    HeadlessClick(dialog, BUTTON_APPLY);
    WindowHandle first = ActiveWindow;
    Settings.factor = 2.0;
    HeadlessClick(dialog, BUTTON_APPLY);
    WindowHandle second = ActiveWindow;
    ASSERT_NE(first, second);
    Rect a, b;
    PlatformGetWindowRect(first, &a);
    PlatformGetWindowRect(second, &b);
    EXPECT_EQ(a.left, inputRect.left + Margin);
    EXPECT_EQ(a.top, inputRect.top + DisplayMetrics.captionHeight);
    EXPECT_EQ(b.left - a.left, Margin);
    EXPECT_EQ(b.top - a.top, DisplayMetrics.captionHeight);
    EXPECT_EQ(ApplyCount, 2);
}

TEST_F(Transform, AnAbortedAutomaticPreviewLeavesAutoOn)
{
    // 400 by 300 needs no reduction and is large enough to show progress.
    WindowHandle input = MakePicture(TYPE_GRAY8, 400, 300);
    WindowHandle dialog = Open(input);
    HeadlessClick(dialog, BUTTON_AUTO);
    ASSERT_EQ(AutoPreview, 1);
    ASSERT_NE(OutputWindow, nullptr);
    EXPECT_FALSE(HeadlessControlEnabled(dialog, BUTTON_PREVIEW));

    HeadlessAbortAtPump(0);
    Settings.factor = 2.0;
    RefreshPreview(&Settings, &TEST_KIND);
    EXPECT_EQ(AutoPreview, 1);
    EXPECT_EQ(PlatformControlValue(dialog, BUTTON_AUTO), 1);
    EXPECT_EQ(OutputWindow, nullptr);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Attention");
    EXPECT_STREQ(HeadlessLastMessage()->text, "Operation Aborted");

    // The next change previews again by itself.
    HeadlessAbortAtPump(-1);
    Calls.clear();
    Settings.factor = 1.5;
    RefreshPreview(&Settings, &TEST_KIND);
    EXPECT_EQ(Calls.size(), 1u);
    EXPECT_NE(OutputWindow, nullptr);
}

TEST_F(Transform, AnAbortedApplyDestroysOnlyItsOwnWindow)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 400, 300);
    WindowHandle dialog = Open(input);
    int windows = HeadlessWindowCount();
    HeadlessAbortAtPump(3);
    HeadlessClick(dialog, BUTTON_OK);
    EXPECT_TRUE(PlatformWindowExists(dialog)); // OK stops when its Apply was aborted
    EXPECT_EQ(OutputWindow, nullptr);
    EXPECT_EQ(ImageWindowsBesides(input), 0);
    EXPECT_EQ(HeadlessWindowCount(), windows);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Operation Aborted");
}

TEST_F(Transform, AFailedApplyShowsItsMessageAndLeavesTheDialogOpen)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 40, 30);
    WindowHandle dialog = Open(input);
    FailFull = ERROR_NO_MEMORY;
    HeadlessClick(dialog, BUTTON_OK);
    EXPECT_TRUE(PlatformWindowExists(dialog));
    EXPECT_EQ(OutputWindow, nullptr);
    EXPECT_EQ(ImageWindowsBesides(input), 0);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
    EXPECT_EQ(DialogWindow, dialog);
}

TEST_F(Transform, AnInputThatIsNoImageGivesNoSource)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 40, 30);
    WindowHandle dialog = Open(input);
    PlatformSetWindowWord(input, WORD_KIND, KIND_MASK);
    HeadlessClick(dialog, BUTTON_PREVIEW);
    ASSERT_EQ(Calls.size(), 1u);
    EXPECT_EQ(Calls[0].source, nullptr);
    // Gamma Adjust has nothing to work on and says so; the preview goes.
    EXPECT_EQ(OutputWindow, nullptr);
    PlatformSetWindowWord(input, WORD_KIND, KIND_IMAGE);
}

TEST_F(Transform, ClosingThePreviewTurnsAutoOffAndEnablesPreview)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 40, 30);
    WindowHandle dialog = Open(input);
    HeadlessClick(dialog, BUTTON_AUTO);
    ASSERT_NE(OutputWindow, nullptr);
    WindowHandle preview = OutputWindow;
    PlatformSendMessage(preview, MSG_CLOSE, 0, 0);
    EXPECT_FALSE(PlatformWindowExists(preview));
    EXPECT_EQ(OutputWindow, nullptr);
    EXPECT_EQ(AutoPreview, 0);
    EXPECT_EQ(PlatformControlValue(dialog, BUTTON_AUTO), 0);
    EXPECT_EQ(PreviewStale, 1);
    EXPECT_TRUE(HeadlessControlEnabled(dialog, BUTTON_PREVIEW));
    EXPECT_EQ(ActiveWindow, dialog);
}

TEST_F(Transform, ToolsOtherThanScrollingRefuseAPreview)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 40, 30);
    WindowHandle dialog = Open(input);
    HeadlessClick(dialog, BUTTON_PREVIEW);
    CurrentTool = TOOL_MASK;
    HeadlessMouse(OutputWindow, MSG_LBUTTON_DOWN, 10, 10, 0);
    EXPECT_STREQ(HeadlessLastMessage()->text, ErrorText(ERROR_TOOLS_ON_PREVIEW));
    // With Alt the picture is dragged instead, under the hand.
    int messages = HeadlessMessageCount();
    HeadlessMouse(OutputWindow, MSG_LBUTTON_DOWN, 10, 10, KEYS_ALT);
    EXPECT_EQ(HeadlessCursor(), CURSOR_HAND);
    HeadlessMouse(OutputWindow, MSG_LBUTTON_UP, 10, 10, KEYS_ALT);
    EXPECT_EQ(HeadlessCursor(), CURSOR_ARROW);
    EXPECT_EQ(HeadlessMessageCount(), messages);
    CurrentTool = TOOL_NONE;
}

TEST_F(Transform, TheDefaultPreviewPreferenceTurnsAutoOnAtOpening)
{
    Prefs.defaultPreview = 1;
    WindowHandle input = MakePicture(TYPE_GRAY8, 40, 30);
    WindowHandle dialog = Open(input);
    EXPECT_EQ(AutoPreview, 0); // posted: it comes once the dialog is open
    HeadlessDeliverPosted();
    EXPECT_EQ(AutoPreview, 1);
    EXPECT_EQ(PlatformControlValue(dialog, BUTTON_AUTO), 1);
    EXPECT_NE(OutputWindow, nullptr);
    Prefs.defaultPreview = 0;
}

TEST_F(Transform, ThePreviewIsAsLargeAsTheRoomItMayTake)
{
    // 2000 by 1000 in a workspace of 1600 by 1000: half of it is 800 by 500, which takes
    // a reduction of 1:3 (667 by 334 with the frame), and all of it 1:2.
    WindowHandle input = MakePicture(TYPE_GRAY8, 2000, 1000);
    WindowHandle dialog = Open(input);
    Prefs.maxPreviewSize = 0;
    HeadlessClick(dialog, BUTTON_PREVIEW);
    EXPECT_EQ(Preview()->zoom, -3);
    EXPECT_EQ(Preview()->viewWidth, 667);
    ClosePreview();
    Prefs.maxPreviewSize = 2;
    HeadlessClick(dialog, BUTTON_PREVIEW);
    EXPECT_EQ(Preview()->zoom, -2);
    Rect outer, workspace;
    PlatformGetWindowRect(OutputWindow, &outer);
    PlatformGetClientRect(PlatformWorkspace(), &workspace);
    EXPECT_LE(outer.right, workspace.right);
    EXPECT_EQ(outer.top, 0);
    Prefs.maxPreviewSize = 0;
}
