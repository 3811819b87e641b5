// Starts the updater with its debug log written to a file in the person's documents, and says
// where.
//
// The updater has no settings. Qt's own logging is turned on by Qt's environment variables, and the
// file is the process's standard error: a program with windows has none on Windows unless the one
// that starts it gives it one.

#include <shlobj.h>
#include <windows.h>

#include <array>
#include <string>

namespace {

constexpr const wchar_t* kTitle = L"Annealing DB Updater";
constexpr const wchar_t* kProgram = L"annealing-db-updater.exe";

int fail(const std::wstring& what)
{
    MessageBoxW(nullptr, what.c_str(), kTitle, MB_OK | MB_ICONERROR);
    return 1;
}

/// The folder that this program lies in, with a backslash after it.
std::wstring ownFolder()
{
    std::wstring path(32768, L'\0'); // the longest path there is
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.rfind(L'\\') + 1);
}

/// The person's documents; empty when there is no such folder.
std::wstring documents()
{
    wchar_t* path = nullptr;
    std::wstring folder;
    if (SHGetKnownFolderPath(FOLDERID_Documents, KF_FLAG_CREATE, nullptr, &path) == S_OK)
        folder = path;
    CoTaskMemFree(path);
    return folder;
}

/// "annealing-db-updater-2026-11-21-17-35-00.log", by the computer's clock.
std::wstring logName()
{
    SYSTEMTIME now;
    GetLocalTime(&now);
    std::array<wchar_t, 64> name{};
    swprintf(name.data(), name.size(), L"annealing-db-updater-%04u-%02u-%02u-%02u-%02u-%02u.log",
        now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond);
    return name.data();
}

/// A new file that the updater may write to; INVALID_HANDLE_VALUE when it cannot be made.
HANDLE newLog(const std::wstring& path)
{
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return CreateFileW(path.c_str(), FILE_APPEND_DATA | SYNCHRONIZE, FILE_SHARE_READ, &inherited,
        CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
}

bool startUpdater(HANDLE log)
{
    SetEnvironmentVariableW(L"QT_FORCE_STDERR_LOGGING", L"1");
    SetEnvironmentVariableW(
        L"QT_MESSAGE_PATTERN", L"%{time yyyy-MM-dd HH:mm:ss.zzz} %{category}: %{message}");

    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = log;
    start.hStdError = log;
    PROCESS_INFORMATION process{};
    const std::wstring program = ownFolder() + kProgram;
    std::wstring call = L'"' + program + L'"';
    if (!CreateProcessW(program.c_str(), call.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
            &start, &process))
        return false;
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return true;
}

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int)
{
    const std::wstring folder = documents();
    if (folder.empty())
        return fail(L"There is no folder for documents to write the log to.");
    const std::wstring path = folder + L'\\' + logName();
    const HANDLE log = newLog(path);
    if (log == INVALID_HANDLE_VALUE)
        return fail(L"The log cannot be written to\n" + path);
    const std::wstring where = L"The updater starts now and writes its log to\n" + path
        + L"\nSend this file along with a question.";
    MessageBoxW(nullptr, where.c_str(), kTitle, MB_OK | MB_ICONINFORMATION);
    const bool started = startUpdater(log);
    const DWORD error = GetLastError();
    CloseHandle(log);
    if (started)
        return 0;
    DeleteFileW(path.c_str());
    return fail(L"The updater does not start (Windows' error " + std::to_wstring(error) + L").");
}
