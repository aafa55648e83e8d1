// Red-blue swaps against the plain definition, for every length around the width of the
// shuffle, out of place and where the pixels lie, with buffers exactly as long as the pixels
// so that a read or write past the end shows under the address sanitizer.
#include <gtest/gtest.h>

#include <vector>

#include "core/Swap.h"
#include "tests/support/TestSupport.h"

TEST(SwapRedBlue, EveryLengthSwapsTheOuterSamplesOnly)
{
    TestStart();
    for (int pixels = 0; pixels <= 40; pixels++) {
        for (int bytes : {3, 6}) {
            for (int inPlace : {0, 1}) {
                SCOPED_TRACE(testing::Message()
                             << pixels << " pixels of " << bytes << " bytes, in place " << inPlace);
                std::vector<uint8_t> in((size_t)pixels * bytes);
                for (size_t i = 0; i < in.size(); i++)
                    in[i] = (uint8_t)(i * 37 + 11);
                std::vector<uint8_t> out = inPlace ? in : std::vector<uint8_t>(in.size(), 0xAA);
                const uint8_t *from = inPlace ? out.data() : in.data();
                if (bytes == 3)
                    SwapRedBlue24(from, out.data(), pixels);
                else
                    SwapRedBlue48(from, out.data(), pixels);
                int sample = bytes / 3; // bytes of one sample
                for (int x = 0; x < pixels; x++) {
                    for (int b = 0; b < sample; b++) {
                        size_t at = (size_t)x * bytes + b;
                        ASSERT_EQ(out[at], in[at + 2 * sample]) << "pixel " << x;
                        ASSERT_EQ(out[at + sample], in[at + sample]) << "pixel " << x;
                        ASSERT_EQ(out[at + 2 * sample], in[at]) << "pixel " << x;
                    }
                }
            }
        }
    }
}
