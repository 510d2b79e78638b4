#pragma once
// Work done for the window (listing a folder, rendering a page, reading a report) runs below
// the window's own thread: on a machine of two cores the window keeps answering while a
// worker reads thousands of documents, and the worker still has the processor when the
// window is idle.

namespace vantorel {

// Lowers the calling thread's scheduling priority (its nice value) once; a thread already
// lowered, or a system that refuses, is left as it is.
void RunBelowTheWindow();

}  // namespace vantorel
