// Rules shared by every compute function.
#include "core/Compute.h"

int ComputeOutputType(int sourceType, int full)
{
    switch (sourceType) {
    case TYPE_GRAY8: return TYPE_GRAY8;
    case TYPE_COLOR24: return TYPE_COLOR24;
    case TYPE_GRAY16: return full ? TYPE_GRAY16 : TYPE_GRAY8;
    case TYPE_COLOR48: return full ? TYPE_COLOR48 : TYPE_COLOR24;
    default: return TYPE_EMPTY;
    }
}
