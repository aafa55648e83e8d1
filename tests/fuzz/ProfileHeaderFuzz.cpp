// libFuzzer target of the ICC profile header readers: every reader over the same bytes, and
// each compared with a good profile, so that any offset or count taken from the input
// without a check shows as an overrun under the sanitizers.
#include <cstdint>
#include <cstring>

#include "color/ProfileHeader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // The readers take an int length, as profiles in memory have; larger inputs are cut.
    int length = size > 1 << 24 ? 1 << 24 : (int)size;
    char text[PROFILE_DESCRIPTION_MAX];
    char small[5]; // a short buffer, to check that results are cut to the capacity
    double white[3], red[3], green[3], blue[3], gamma;

    ProfileDescription(data, length, text, sizeof text);
    ProfileDescription(data, length, small, sizeof small);
    ProfileClass(data, length, small, sizeof small);
    ProfileColorSpace(data, length, small, sizeof small);
    ProfileManufacturer(data, length, text, sizeof text);
    ProfileManufacturer(data, length, small, sizeof small);
    ProfileLooksValid(data, length);
    ProfilePrimaries(data, length, white, red, green, blue);
    ProfileGamma(data, length, &gamma);
    SameProfile(data, length, data, length);
    SameProfile(data, length, nullptr, 0);
    return 0;
}
