// What the tests of the custom controls share: a dialog that notes what its controls tell it,
// the places of a slider and an Amount control in it, and readers of what was drawn.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "masks/AmountControl.h"
#include "tests/shell/ShellTestSupport.h"
#include "transforms/GammaAdjust.h"
#include "ui/Controls.h"

namespace {

// What a dialog standing for a real one heard from its controls.
struct Note {
    uint32_t message;
    uintptr_t wParam;
    intptr_t lParam;
    int position; // the slider's first position when the message came, for sliders
};

std::vector<Note> Notes;
WindowHandle NoteDialog;

MessageResult NoteProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                            intptr_t lParam)
{
    if (message == MSG_COMMAND || message == MSG_INPUT_CHOSEN || message == MSG_AMOUNT_CHANGED)
        Notes.push_back({message, wParam, lParam, SliderPosition(window, (int)(wParam & 0xffff))});
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

constexpr int SLIDER_ID = 101;
constexpr int LIST_ID = 102;
constexpr int CHOOSER_ID = 103;
constexpr int AMOUNT_ID = 104;

// A slider 267 pixels wide: its thumb's centre runs from x 5 to 261, 4 positions a pixel.
constexpr Rect SLIDER_RECT = {10, 40, 277, 57};
// An Amount control whose slider is also 267 wide: the square is as high as the control.
constexpr int AMOUNT_HEIGHT = 37;
constexpr Rect AMOUNT_RECT = {10, 80, 10 + 267 + 8 + AMOUNT_HEIGHT, 80 + AMOUNT_HEIGHT};

class Controls : public ShellTest {
  protected:
    WindowHandle dialog = nullptr;

    void SetUp() override
    {
        ShellTest::SetUp();
        Notes.clear();
        ChildKindRegister(KIND_GAMMA, NoteProcedure);
        WindowCreate request = {CLASS_CHILD,  KIND_GAMMA, -1, "Gamma Adjust",
                                STYLE_DIALOG, 40,         40, 400,
                                300,          nullptr,    0,  0};
        dialog = NoteDialog = PlatformCreateWindow(&request);
        ASSERT_NE(dialog, nullptr);
    }

    // The notifications of slider id, as (code, position) pairs.
    std::vector<std::pair<int, int>> SliderNotes(int id)
    {
        std::vector<std::pair<int, int>> result;
        for (const Note &note : Notes)
            if (note.message == MSG_COMMAND && (int)(note.wParam & 0xffff) == id)
                result.push_back({(int)(note.wParam >> 16), note.position});
        return result;
    }

    // The codes of MSG_AMOUNT_CHANGED for id, in order.
    std::vector<int> AmountNotes(int id)
    {
        std::vector<int> result;
        for (const Note &note : Notes)
            if (note.message == MSG_AMOUNT_CHANGED && (int)note.wParam == id)
                result.push_back((int)note.lParam);
        return result;
    }
};

std::string Title(WindowHandle window)
{
    char title[PATH_LENGTH + 32];
    WindowTitle(window, title, sizeof title);
    return title;
}

// The labels of the last pop-up menu.
std::vector<std::string> PopupLabels(void)
{
    const MenuItem *items = nullptr;
    int count = HeadlessLastPopup(&items);
    std::vector<std::string> labels;
    for (int i = 0; i < count; i++)
        labels.push_back(items[i].label);
    return labels;
}

std::vector<int> PopupIds(void)
{
    const MenuItem *items = nullptr;
    int count = HeadlessLastPopup(&items);
    std::vector<int> ids;
    for (int i = 0; i < count; i++)
        ids.push_back(items[i].id);
    return ids;
}

// The newest text drawn in window, or "" when there is none.
std::string LastTextOf(WindowHandle window, int skip = 0)
{
    for (int i = HeadlessTextCount() - 1; i >= 0; i--) {
        WindowHandle owner = nullptr;
        const char *text = HeadlessTextAt(i, &owner, nullptr, nullptr);
        if (owner == window && skip-- == 0) return text;
    }
    return "";
}

} // namespace
