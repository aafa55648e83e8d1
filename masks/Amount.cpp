#include "masks/Amount.h"

#include "core/FormatString.h"
#include "core/Helpers.h"
#include "core/Text.h"

void AmountSettingDefault(AmountSetting *setting, const char *label, int bipolar)
{
    *setting = {};
    setting->low = AMOUNT_POSITIONS;
    setting->high = AMOUNT_NO_MASK;
    setting->bipolar = bipolar != 0;
    StrCopyLimit(label != nullptr ? label : "", setting->label, AMOUNT_LABEL_BYTES - 1);
}

static double AmountPercent(int position, int bipolar)
{
    if (bipolar) return (position - AMOUNT_POSITIONS / 2) * 200.0 / AMOUNT_POSITIONS;
    return position * 100.0 / AMOUNT_POSITIONS;
}

void AmountText(const AmountSetting *setting, char *text, int capacity)
{
    double low = AmountPercent(setting->low, setting->bipolar);
    if (setting->high == AMOUNT_NO_MASK) {
        FormatString(text, capacity, "%s%1f\\%", setting->label, low);
        return;
    }
    double high = AmountPercent(setting->high, setting->bipolar);
    FormatString(text, capacity, "%s%1f\\% .. %1f\\%", setting->label, low, high);
}

static int Amount8(int position)
{
    if (position < 0) position = 0;
    if (position > AMOUNT_POSITIONS) position = AMOUNT_POSITIONS;
    return (position * 255 + AMOUNT_POSITIONS / 2) >> 10;
}

int AmountLow8(const AmountSetting *setting)
{
    return Amount8(setting->low);
}

int AmountHigh8(const AmountSetting *setting)
{
    return setting->high == AMOUNT_NO_MASK ? -1 : Amount8(setting->high);
}

int AmountIsAllZero(const AmountSetting *setting)
{
    int high8 = AmountHigh8(setting);
    return AmountLow8(setting) == 0 && (high8 == -1 || high8 == 0);
}

int AmountIsAllFull(const AmountSetting *setting)
{
    int high8 = AmountHigh8(setting);
    return AmountLow8(setting) == 255 && (high8 == -1 || high8 == 255);
}

void AmountMix(const AmountSetting *setting, RowMix *mix)
{
    mix->low8 = AmountLow8(setting);
    mix->high8 = AmountHigh8(setting);
    mix->mask = mix->high8 == -1 ? nullptr : setting->maskImage;
}

int AmountPosition(double percent)
{
    return Round(percent * AMOUNT_POSITIONS / 100.0);
}
