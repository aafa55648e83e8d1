// The guard of the editor's layers. Every header of ui/, shell/, platform/ and of the dialog
// halves of transforms/ and masks/ includes it, and the compute library and vistel-cli are
// compiled with VISTEL_COMPUTE_LAYER defined, so that a file of theirs that includes such a
// header fails to build instead of linking window code into them.
#pragma once

#ifdef VISTEL_COMPUTE_LAYER
#error                                                                                             \
    "the compute library and vistel-cli may not include the editor's headers (ui, shell, platform)"
#endif
