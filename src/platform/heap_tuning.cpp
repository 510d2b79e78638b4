#include "platform/heap_tuning.h"

#include <malloc.h>

namespace vantorel {

void KeepHeapForChunkBuffers() {
    // Setting either also ends the library's own adjustment of both, which had them move
    // with every buffer freed.
    mallopt(M_MMAP_THRESHOLD, 4 << 20);
    mallopt(M_TRIM_THRESHOLD, 16 << 20);
}

}  // namespace vantorel
