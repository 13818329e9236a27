#pragma once

// What the samples of the papers stand below, and stand-ins for what belongs to their application.

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>

#include "veltro/veltro.h"

using namespace Veltro;

inline void ShowBanner(const std::string& text) { std::cout << text << std::endl; }
inline void AskUser(const std::function<void(bool agrees)>& answer) { answer(true); }

#if __cplusplus >= 202002L
/// A coroutine that nobody waits for.
struct Task {
  struct promise_type {
    Task get_return_object() { return {}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() {}
    void unhandled_exception() { std::abort(); }
  };
};
#endif
