/* start_with_serialwait PROGRAM: runs PROGRAM with serialwait.dll, which lies beside this one, and
 * ends with its exit code. */
#include <windows.h>

#include <stdio.h>
#include <wchar.h>

static int fail(const char* what)
{
    fprintf(stderr, "start_with_serialwait: %s: error %lu\n", what, GetLastError());
    return 2;
}

/* Loads the library into a process whose main thread has not begun. */
static int load(HANDLE process, const wchar_t* library)
{
    const SIZE_T size = (wcslen(library) + 1) * sizeof *library;
    void* const there
        = VirtualAllocEx(process, NULL, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (!there || !WriteProcessMemory(process, there, library, size, NULL))
        return 0;
    /* kernel32 is at the same place in every process. */
    const LPTHREAD_START_ROUTINE loadLibrary = (LPTHREAD_START_ROUTINE)(void*)GetProcAddress(
        GetModuleHandleA("kernel32.dll"), "LoadLibraryW");
    const HANDLE thread = CreateRemoteThread(process, NULL, 0, loadLibrary, there, 0, NULL);
    DWORD module = 0;
    WaitForSingleObject(thread, INFINITE);
    return GetExitCodeThread(thread, &module) && module != 0;
}

int wmain(int argc, wchar_t** argv)
{
    wchar_t library[MAX_PATH];
    if (argc != 2)
        return fail("one program");
    GetModuleFileNameW(NULL, library, MAX_PATH);
    wcscpy(wcsrchr(library, L'\\') + 1, L"serialwait.dll");

    STARTUPINFOW start = {.cb = sizeof start};
    PROCESS_INFORMATION process;
    if (!CreateProcessW(
            argv[1], NULL, NULL, NULL, TRUE, CREATE_SUSPENDED, NULL, NULL, &start, &process))
        return fail("the program does not start");
    if (!load(process.hProcess, library)) {
        TerminateProcess(process.hProcess, 2);
        return fail("serialwait.dll was not loaded");
    }
    ResumeThread(process.hThread);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 2;
    GetExitCodeProcess(process.hProcess, &code);
    return (int)code;
}
