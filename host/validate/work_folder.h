// Where a validation keeps its temporary files.
#pragma once

#include <filesystem>
#include <string>

namespace talvora::host {

// Gone with everything that a plug-in left in it; one that a killed process left is swept when
// the next is made. Throws a Failure of the output when there is no place for it.
class WorkFolder {
  public:
    WorkFolder();
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    ~WorkFolder();

    std::string path() const { return path_.string(); }

  private:
    std::filesystem::path path_;
};

} // namespace talvora::host
