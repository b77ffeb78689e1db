#include "host/validate/child_process.h"
#include "host/validate/protocol.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>
#include <windows.h>

namespace talvora::host {

namespace {

using std::chrono::milliseconds;

[[noreturn]] void refuse(const std::string& what) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

struct Close {
    void operator()(void* handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, Close>;

struct Pipe {
    Pipe() {
        SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        HANDLE read = nullptr;
        HANDLE write = nullptr;
        if (CreatePipe(&read, &write, &inherited, 0) == 0) {
            refuse("no pipe for a child process");
        }
        read_end.reset(read);
        write_end.reset(write);
        SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0);
    }

    Handle read_end;
    Handle write_end;
};

// Ends every process in it when its last handle goes.
Handle make_job() {
    Handle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
    SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits));
    return job;
}

// Words with quotes in them are not needed here: they are file names and check ids.
std::string command_line(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) {
        line += (line.empty() ? "\"" : " \"") + word + "\"";
    }
    return line;
}

PROCESS_INFORMATION start(const std::vector<std::string>& command, const Pipe& pipe) {
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = pipe.write_end.get();
    startup.hStdError = pipe.write_end.get();
    PROCESS_INFORMATION process{};
    std::string line = command_line(command);
    if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr,
                       nullptr, &startup, &process) == 0) {
        refuse(command.front());
    }
    return process;
}

void read_output(HANDLE file, KeptOutput& output) {
    std::array<char, 65536> buffer;
    DWORD count = 0;
    while (ReadFile(file, buffer.data(), buffer.size(), &count, nullptr) != 0 && count > 0) {
        output.append({buffer.data(), count});
    }
}

std::string name_exception(DWORD code) {
    std::array<char, 40> text;
    std::snprintf(text.data(), text.size(), "exception 0x%08lX", code);
    return code == EXCEPTION_ACCESS_VIOLATION ? "access violation" : text.data();
}

// Codes of this class are those of exceptions; 3 is what abort() exits with.
bool is_crash(DWORD code) {
    return code >= 0xC0000000 || code == 3;
}

void set_end(DWORD code, ChildOutcome& outcome) {
    if (is_crash(code)) {
        outcome.end = ChildOutcome::End::Crashed;
        outcome.reason = code == 3 ? "abort" : name_exception(code);
    } else {
        outcome.exit_code = static_cast<int>(code);
    }
}

} // namespace

ChildOutcome run_child(const std::vector<std::string>& command, milliseconds limit,
                       const std::string& folder) {
    SetEnvironmentVariableA("TMP", folder.c_str());
    Pipe pipe;
    Handle job = make_job();
    const PROCESS_INFORMATION started = start(command, pipe);
    const Handle process(started.hProcess);
    const Handle thread(started.hThread);
    AssignProcessToJobObject(job.get(), process.get());
    ResumeThread(thread.get());
    pipe.write_end.reset();
    ChildOutcome outcome;
    KeptOutput output;
    std::thread reader([&] { read_output(pipe.read_end.get(), output); });
    DWORD code = 0;
    if (WaitForSingleObject(process.get(), static_cast<DWORD>(limit.count())) == WAIT_TIMEOUT) {
        outcome.end = ChildOutcome::End::TimedOut;
    } else if (GetExitCodeProcess(process.get(), &code) != 0) {
        set_end(code, outcome);
    }
    job.reset();
    reader.join();
    outcome.output = output.text();
    outcome.unkept_bytes = output.unkept_bytes();
    return outcome;
}

InterruptionsHeldBack::InterruptionsHeldBack() = default;
InterruptionsHeldBack::~InterruptionsHeldBack() = default;

std::string own_program() {
    std::array<char, 4096> path{};
    GetModuleFileNameA(nullptr, path.data(), path.size());
    return path.data();
}

void limit_this_process(std::size_t) {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

std::optional<std::size_t> read_address_limit() {
    return std::nullopt;
}

void take_default_signals() {}

} // namespace talvora::host
