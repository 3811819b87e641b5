/* Stands in for WaitCommEvent() as Qt's serial port calls it: see README.md.
 *
 * Qt binds the port to a completion port, asks for EV_RXCHAR with WaitCommEvent() and waits for the
 * completion. Here a thread looks for input every millisecond and posts that completion. A port
 * that fails, as when the terminal at its other end has gone, completes with the error that a
 * driver gives for an adapter that was unplugged. */
#include <windows.h>
#include <winternl.h>

enum { kMaxPorts = 64, kPollMs = 1 };

/* What an unplugged adapter's driver completes a pending request with: ERROR_OPERATION_ABORTED. */
static const NTSTATUS kGone = (NTSTATUS)0xC0000120;

typedef NTSTATUS(NTAPI* SetIoCompletion)(HANDLE, ULONG_PTR, ULONG_PTR, NTSTATUS, SIZE_T);

static struct Port
{
    HANDLE handle; /* NULL: this one is free */
    HANDLE completion;
    ULONG_PTR key;
    OVERLAPPED* waiting; /* NULL: nobody waits */
    DWORD* events;
} ports[kMaxPorts];
static CRITICAL_SECTION lock;
static SetIoCompletion setIoCompletion;

/* The port of this handle, or with NULL a free one. To be called with the lock held. */
static struct Port* find(HANDLE handle)
{
    for (int i = 0; i < kMaxPorts; ++i)
        if (ports[i].handle == handle)
            return &ports[i];
    return NULL;
}

static HANDLE WINAPI bindToCompletion(
    HANDLE handle, HANDLE completion, ULONG_PTR key, DWORD threads)
{
    if (handle != INVALID_HANDLE_VALUE) {
        EnterCriticalSection(&lock);
        struct Port* port = find(handle);
        if (!port)
            port = find(NULL);
        if (port)
            *port = (struct Port){handle, completion, key, NULL, NULL};
        LeaveCriticalSection(&lock);
    }
    return CreateIoCompletionPort(handle, completion, key, threads);
}

static BOOL WINAPI waitForEvent(HANDLE handle, DWORD* events, OVERLAPPED* overlapped)
{
    EnterCriticalSection(&lock);
    struct Port* port = find(handle);
    if (port) {
        port->waiting = overlapped;
        port->events = events;
    }
    LeaveCriticalSection(&lock);
    if (!port)
        return WaitCommEvent(handle, events, overlapped);
    SetLastError(ERROR_IO_PENDING);
    return FALSE;
}

static void forget(HANDLE handle)
{
    EnterCriticalSection(&lock);
    struct Port* port = handle ? find(handle) : NULL;
    if (port)
        port->handle = NULL;
    LeaveCriticalSection(&lock);
}

static BOOL WINAPI cancel(HANDLE handle)
{
    forget(handle);
    return CancelIo(handle);
}

static BOOL WINAPI closeHandle(HANDLE handle)
{
    forget(handle);
    return CloseHandle(handle);
}

static void look(struct Port* port)
{
    COMSTAT status;
    const BOOL works = ClearCommError(port->handle, NULL, &status);
    if (works && status.cbInQue == 0)
        return;
    OVERLAPPED* const done = port->waiting;
    port->waiting = NULL;
    *port->events = works ? EV_RXCHAR : 0;
    done->Internal = works ? 0 : (ULONG_PTR)kGone;
    done->InternalHigh = sizeof(DWORD);
    setIoCompletion(port->completion, port->key, (ULONG_PTR)done, works ? 0 : kGone, sizeof(DWORD));
}

static DWORD WINAPI watch(void* unused)
{
    (void)unused;
    for (;;) {
        EnterCriticalSection(&lock);
        for (int i = 0; i < kMaxPorts; ++i)
            if (ports[i].handle && ports[i].waiting)
                look(&ports[i]);
        LeaveCriticalSection(&lock);
        Sleep(kPollMs);
    }
    return 0;
}

/* Lets the module's calls of a function of kernel32 go to another one. */
static void redirect(char* module, const char* name, ULONG_PTR target)
{
    const IMAGE_DOS_HEADER* dos = (const IMAGE_DOS_HEADER*)module;
    const IMAGE_NT_HEADERS* nt = (const IMAGE_NT_HEADERS*)(module + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY* imports
        = &nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const IMAGE_IMPORT_DESCRIPTOR* from
        = (const IMAGE_IMPORT_DESCRIPTOR*)(module + imports->VirtualAddress);
    for (; from->Name; ++from) {
        const IMAGE_THUNK_DATA* names
            = (const IMAGE_THUNK_DATA*)(module + from->OriginalFirstThunk);
        IMAGE_THUNK_DATA* entry = (IMAGE_THUNK_DATA*)(module + from->FirstThunk);
        for (; names->u1.AddressOfData; ++names, ++entry) {
            if (names->u1.Ordinal & IMAGE_ORDINAL_FLAG)
                continue;
            const IMAGE_IMPORT_BY_NAME* import
                = (const IMAGE_IMPORT_BY_NAME*)(module + names->u1.AddressOfData);
            if (lstrcmpA((const char*)import->Name, name) != 0)
                continue;
            DWORD before;
            VirtualProtect(&entry->u1.Function, sizeof(void*), PAGE_READWRITE, &before);
            entry->u1.Function = target;
            VirtualProtect(&entry->u1.Function, sizeof(void*), before, &before);
        }
    }
}

BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, void* reserved)
{
    (void)reserved;
    if (reason != DLL_PROCESS_ATTACH)
        return TRUE;
    DisableThreadLibraryCalls(self);
    char* const module = (char*)GetModuleHandleA("Qt6SerialPort.dll");
    if (!module)
        return FALSE;
    setIoCompletion = (SetIoCompletion)(void*)GetProcAddress(
        GetModuleHandleA("ntdll.dll"), "NtSetIoCompletion");
    InitializeCriticalSection(&lock);
    redirect(module, "CreateIoCompletionPort", (ULONG_PTR)bindToCompletion);
    redirect(module, "WaitCommEvent", (ULONG_PTR)waitForEvent);
    redirect(module, "CancelIo", (ULONG_PTR)cancel);
    redirect(module, "CloseHandle", (ULONG_PTR)closeHandle);
    CloseHandle(CreateThread(NULL, 0, watch, NULL, 0, NULL));
    return TRUE;
}
