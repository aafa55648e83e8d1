// A picture record for tests: cleared when it is made and freed with its pixels when it goes,
// also when an assertion ends the test early. It stands for its record wherever one is asked.
#pragma once

#include "core/Image.h"

struct TestImage : Image {
    TestImage()
    {
        ImageClear(this);
    }
    ~TestImage()
    {
        ImageFree(this);
    }
    TestImage(const TestImage &) = delete;
    TestImage &operator=(const TestImage &) = delete;
};
