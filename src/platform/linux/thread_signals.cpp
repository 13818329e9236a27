#include "platform/linux/thread_signals.h"

#include <signal.h>

#include <initializer_list>

namespace Veltro::Internal {

void BlockSignals() {
  sigset_t signals;
  sigfillset(&signals);
  for (const int crash : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
    sigdelset(&signals, crash);
  }
  pthread_sigmask(SIG_SETMASK, &signals, nullptr);
}

}  // namespace Veltro::Internal
