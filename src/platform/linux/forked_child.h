#pragma once

namespace Veltro::Internal {

/// Whether this process is a child that was forked from one in which `WatchForks` had been called.
/// None of the library's threads exist in it, and its locks may be held for ever: nothing of the
/// library that was there before may be touched. Safe to call from any thread.
bool InForkedChild() noexcept;

/// Has `InForkedChild` tell, from now on. May be called more than once.
void WatchForks();

/// Has an open descriptor closed in every child that is forked from now on, until
/// `KeepInForkedChildren`: a child that lives longer than its parent would go on holding what the
/// descriptor stands for. Up to eight at a time; further ones are kept.
void CloseInForkedChildren(int descriptor);
void KeepInForkedChildren(int descriptor);

}  // namespace Veltro::Internal
