// Standard output and error of this process, kept in a file for a while.
#pragma once

#include <string>

namespace talvora::host {

class CapturedOutput {
  public:
    CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;
    ~CapturedOutput();

    // How what was written since the beginning begins, buffered text included: at most 4096
    // bytes. Once there is some, what follows is let go.
    std::string read() const;

  private:
    int file_ = -1;
    int saved_[2] = {-1, -1};
};

} // namespace talvora::host
