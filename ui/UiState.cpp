// The dialog kit's shared state and the hooks through which it reaches the editor.
#include "ui/UiState.h"

WindowHandle FrameWindow;
WindowHandle ActiveWindow;
int LineHeight;
int ButtonHeight;
int Margin;
int SliderHeight;
int SmallLineHeight;
int SmallButtonHeight;
PlatformMetrics DisplayMetrics;
int CurrentOperation;
WindowHandle DialogWindow;
int CurrentTool;
WindowHandle ToolTarget;
int ToolDown;
WindowHandle SplashWindow;
WindowHandle PictureClient;

static const int SLIDER_HEIGHT = 17; // pixels of the program's sliders

static const EditorHooks *Hooks; // null until the shell installs its own

void ReadDisplayMetrics(void)
{
    PlatformGetMetrics(&DisplayMetrics);
    LineHeight = DisplayMetrics.lineHeight;
    ButtonHeight = DisplayMetrics.buttonHeight;
    Margin = DisplayMetrics.margin;
    SmallLineHeight = DisplayMetrics.smallLineHeight;
    SmallButtonHeight = DisplayMetrics.smallButtonHeight;
    SliderHeight = SLIDER_HEIGHT;
}

void EditorHooksInstall(const EditorHooks *hooks)
{
    Hooks = hooks;
}

ErrorCode EditorSaveImage(WindowHandle window)
{
    if (Hooks == nullptr || Hooks->saveImage == nullptr) return ERROR_NONE;
    return Hooks->saveImage(window);
}

void EditorDropFiles(const DroppedFiles *files)
{
    if (Hooks != nullptr && Hooks->dropFiles != nullptr) Hooks->dropFiles(files);
}

void EditorWindowDestroyed(WindowHandle window)
{
    if (Hooks != nullptr && Hooks->windowDestroyed != nullptr) Hooks->windowDestroyed(window);
}

void EditorOpenQueueHold(void)
{
    if (Hooks != nullptr && Hooks->openQueueHold != nullptr) Hooks->openQueueHold();
}

void EditorOpenQueueRelease(void)
{
    if (Hooks != nullptr && Hooks->openQueueRelease != nullptr) Hooks->openQueueRelease();
}
