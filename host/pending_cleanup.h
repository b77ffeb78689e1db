// What becomes of temporary files when a signal ends the process.
#pragma once

#include <csignal>
#include <filesystem>

namespace talvora::host {

// Notes a file that is to be removed by the handlers below; the result names the
// note. A process holds few at a time (MAX_PENDING_FILES in the source); more are
// refused with a Failure of the output.
int note_pending_file(const std::filesystem::path& path);
void forget_pending_file(int note);

// From here on SIGINT, SIGTERM, SIGHUP and SIGPIPE remove the noted files and end the
// process with 128 + the signal's number; SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGABRT do with
// the exit code of a broken plug-in. Signals that are handled or ignored already
// stay so.
void clean_up_on_signals();

// Holds back the signals that clean up while a file and its note are made together.
class SignalsHeldBack {
  public:
    SignalsHeldBack();
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;
    ~SignalsHeldBack();

  private:
    sigset_t before_{};
};

} // namespace talvora::host
