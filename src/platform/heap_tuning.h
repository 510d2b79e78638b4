#pragma once
// The walks hand buffers of a few hundred KiB from thread to thread, a chunk of documents at a
// time. Left to itself the C library gives each such buffer a mapping of its own and gives
// freed heap back to the system at once, and each unmapping makes every core flush its address
// cache: on a virtual machine of two cores that was a third of a details report's time.

namespace vantorel {

// Buffers under 4 MiB come from the heap, and up to 16 MiB of freed heap is kept for the
// next ones. Called once, first thing in main.
void KeepHeapForChunkBuffers();

}  // namespace vantorel
