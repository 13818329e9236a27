#pragma once

namespace Veltro::Internal {

/// Has `save` called when the process ends by itself: on return from main, exit and quick_exit, not
/// in a forked child. When that has happened it may be asked for again, by what the application
/// still does while it ends. Cheap enough for every call of the application. `save` is the same
/// each time. Safe to use from any thread.
void SaveAtProcessEnd(void (*save)());

/// To be called when a library has been started that tidies up at the end of the process: `save`
/// then goes first, while that library still works.
void SaveAtProcessEndFirst();

}  // namespace Veltro::Internal
