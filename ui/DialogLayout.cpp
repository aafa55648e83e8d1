// Tables of rows turned into platform controls, for the shell's own dialogs.
#include "ui/DialogLayout.h"

#include <cstring>

#include "core/FormatString.h"
#include "core/Text.h"
#include "ui/ImageWindows.h"

static const int CONTROL_CHARACTERS = 34; // width of the control column, in digits
static const int ROW_CONTROLS_MAX = 3;

WindowHandle DialogCreate(int kind, const char *title)
{
    WindowCreate request = {CLASS_CHILD,
                            kind,
                            -1,
                            title,
                            STYLE_CAPTION | STYLE_DIALOG | STYLE_HIDDEN,
                            WINDOW_DEFAULT,
                            WINDOW_DEFAULT,
                            WINDOW_DEFAULT,
                            WINDOW_DEFAULT,
                            nullptr,
                            0,
                            0};
    return PlatformCreateWindow(&request);
}

static int TextWidth(const char *text)
{
    return text != nullptr ? PlatformTextWidth(text, (int)strlen(text)) : 0;
}

void DialogLayout(WindowHandle window, const DialogRow *rows, int rowCount,
                  const DialogButton *buttons, int buttonCount)
{
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);
    const int margin = metrics.margin;
    const int height = metrics.buttonHeight; // every row is as tall as a button
    const int step = height + margin / 2;
    const int controlWidth = PlatformTextWidth("0", 1) * CONTROL_CHARACTERS;

    // The label column is as wide as its widest label; row buttons share one width.
    int labelWidth = 0;
    int rowButtonWidth = 0;
    for (int i = 0; i < rowCount; i++) {
        int width = TextWidth(rows[i].label);
        if (width > labelWidth) labelWidth = width;
        if (rows[i].buttonId != 0 && TextWidth(rows[i].buttonText) + 2 * margin > rowButtonWidth)
            rowButtonWidth = TextWidth(rows[i].buttonText) + 2 * margin;
    }
    const int controlLeft = margin + labelWidth + (labelWidth > 0 ? margin : 0);

    for (int i = 0; i < rowCount; i++) {
        const DialogRow *row = &rows[i];
        int top = margin + i * step;
        if (row->label != nullptr) {
            // Labels stand on the middle of their row.
            Rect rect = {margin, top + (height - metrics.lineHeight) / 2, margin + labelWidth,
                         top + (height + metrics.lineHeight) / 2};
            PlatformCreateControl(window, CONTROL_STATIC, row->id + DIALOG_LABEL_ID, row->label,
                                  ALIGN_LEFT, &rect);
        }
        if (row->type >= 0) {
            int count = row->count < 1
                            ? 1
                            : (row->count > ROW_CONTROLS_MAX ? ROW_CONTROLS_MAX : row->count);
            int each = (controlWidth - (count - 1) * margin) / count;
            for (int k = 0; k < count; k++) {
                int left = controlLeft + k * (each + margin);
                Rect rect = {left, top, left + each, top + height};
                PlatformCreateControl(window, row->type, row->id + k, row->text, ALIGN_LEFT, &rect);
            }
        }
        if (row->buttonId != 0) {
            int left = controlLeft + controlWidth + margin;
            Rect rect = {left, top, left + rowButtonWidth, top + height};
            PlatformCreateControl(window, CONTROL_BUTTON, row->buttonId, row->buttonText, 0, &rect);
        }
    }

    // The buttons of the bottom row share the width of the widest.
    int buttonWidth = 0;
    for (int i = 0; i < buttonCount; i++)
        if (TextWidth(buttons[i].text) + 2 * margin > buttonWidth)
            buttonWidth = TextWidth(buttons[i].text) + 2 * margin;
    int buttonTop = margin + rowCount * step + margin;
    for (int i = 0; i < buttonCount; i++) {
        int left = margin + i * (buttonWidth + margin);
        Rect rect = {left, buttonTop, left + buttonWidth, buttonTop + height};
        PlatformCreateControl(window, CONTROL_BUTTON, buttons[i].id, buttons[i].text,
                              buttons[i].style, &rect);
    }

    int clientWidth = controlLeft + controlWidth + margin;
    if (rowButtonWidth > 0) clientWidth += rowButtonWidth + margin;
    int buttonsWidth = margin + buttonCount * (buttonWidth + margin);
    if (buttonsWidth > clientWidth) clientWidth = buttonsWidth;
    int clientHeight = buttonTop + height + margin;

    // The whole window adds the dialog's frame; it stands in the middle of the workspace.
    int width = clientWidth + metrics.dialogFrame;
    int windowHeight = clientHeight + metrics.dialogBorder;
    int x, y;
    WorkspaceCentre(width, windowHeight, &x, &y);
    PlatformMoveWindow(window, x, y, width, windowHeight);
    PlatformShowWindow(window, SHOW_NORMAL);
    PlatformActivateWindow(window);
}

void WorkspaceCentre(int width, int height, int *x, int *y)
{
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);
    Rect workspace = {0, 0, metrics.screenWidth, metrics.screenHeight};
    if (PlatformWorkspace() != nullptr) PlatformGetClientRect(PlatformWorkspace(), &workspace);
    *x = (workspace.right - width) / 2;
    *y = (workspace.bottom - height) / 2;
    if (*x < 0) *x = 0;
    if (*y < 0) *y = 0;
}

void TextShortenParts(const char *text, int maximum, char *head, char *tail)
{
    int length = (int)strlen(text);
    if (maximum < 4) maximum = 4; // room for a character and the dots at least
    if (length <= maximum) {
        StrCopyLimit(text, head, maximum);
        tail[0] = 0;
        return;
    }
    int headLength = (maximum - 3) / 3;
    int tailLength = maximum - 3 - headLength;
    StrCopyLimit(text, head, headLength);
    StrCopyLimit(text + length - tailLength, tail, tailLength);
}

void TextShorten(const char *text, int maximum, char *shortened, int capacity)
{
    if (maximum < 4) maximum = 4;
    if ((int)strlen(text) <= maximum) {
        StrCopyLimit(text, shortened, capacity - 1);
        return;
    }
    char head[TEXT_SHORTEN_MAX + 1];
    char tail[TEXT_SHORTEN_MAX + 1];
    if (maximum > TEXT_SHORTEN_MAX) maximum = TEXT_SHORTEN_MAX;
    TextShortenParts(text, maximum, head, tail);
    FormatString(shortened, capacity, "%s...%s", head, tail);
}

void ListToItems(char *list)
{
    char *at = list;
    while (*at != 1 && *at != 0)
        at += strlen(at) + 1;
    *at = 0;
}
