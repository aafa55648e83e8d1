// File mappings and the SIGBUS guard around the work on them.
//
// The handler is installed once, at the first mapping, and stays: installing and removing it
// around each piece of work would race with other threads. Each thread keeps its own chain of
// guards (a reader may pump the interface, which may open another file). A SIGBUS the kernel
// raised for an address inside a guarded mapping jumps back to that guard; the handler runs
// with SIGBUS unblocked (SA_NODEFER), so that the jump leaves the signal mask as it was.
#include "core/FileMap.h"

#include <atomic>
#include <csetjmp>
#include <csignal>
#include <mutex>
#include <sys/mman.h>
#include <unistd.h>

static const int64_t FILE_MAP_RELEASE_BYTES = 4 << 20; // a run long enough to give back

struct FileMapGuardRecord {
    const uint8_t *first; // the mapping's first byte
    const uint8_t *end;   // one past its last
    sigjmp_buf jump;
    FileMapGuardRecord *outer; // the guard this one runs inside, or null
};

// The innermost guard of this thread. Initial-exec, so that the handler reads it without the
// allocation that a lazily created thread-local block could need.
static thread_local FileMapGuardRecord *FileMapGuardCurrent
    __attribute__((tls_model("initial-exec"))) = nullptr;
static struct sigaction FileMapPreviousAction;
static std::once_flag FileMapHandlerOnce;
static int FileMapHandlerInstalled = 0;

static void FileMapSignal(int signalNumber, siginfo_t *info, void *context)
{
    // Only a fault the kernel raised names an address; a SIGBUS sent by kill does not.
    if (info != nullptr && info->si_code > 0) {
        const uint8_t *address = (const uint8_t *)info->si_addr;
        for (FileMapGuardRecord *guard = FileMapGuardCurrent; guard != nullptr;
             guard = guard->outer)
            if (address >= guard->first && address < guard->end) siglongjmp(guard->jump, 1);
    }
    // Not ours. A handler that was there before gets it; otherwise the default action comes
    // back, and the instruction that faulted faults again when this returns and ends the
    // program as it would have without us.
    if (FileMapPreviousAction.sa_flags & SA_SIGINFO) {
        FileMapPreviousAction.sa_sigaction(signalNumber, info, context);
    } else if (FileMapPreviousAction.sa_handler != SIG_DFL &&
               FileMapPreviousAction.sa_handler != SIG_IGN) {
        FileMapPreviousAction.sa_handler(signalNumber);
    } else {
        struct sigaction action = {};
        action.sa_handler = SIG_DFL;
        sigemptyset(&action.sa_mask);
        sigaction(signalNumber, &action, nullptr);
    }
}

static void FileMapHandlerInstall(void)
{
    struct sigaction action = {};
    action.sa_sigaction = FileMapSignal;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    FileMapHandlerInstalled = sigaction(SIGBUS, &action, &FileMapPreviousAction) == 0;
}

void FileMapReset(FileMap *map)
{
    map->bytes = nullptr;
    map->size = 0;
    map->runStart = 0;
    map->runEnd = 0;
}

ErrorCode FileMapOpen(FileHandle file, int64_t size, FileMap *map)
{
    FileMapReset(map);
    std::call_once(FileMapHandlerOnce, FileMapHandlerInstall);
    // Without the handler a shortened file would end the program: read it instead.
    if (!FileMapHandlerInstalled || size <= 0 || (uint64_t)size > SIZE_MAX) return ERROR_READ_FILE;
    void *bytes = mmap(nullptr, (size_t)size, PROT_READ, MAP_PRIVATE, fileno(file), 0);
    if (bytes == MAP_FAILED) return ERROR_READ_FILE;
    map->bytes = (const uint8_t *)bytes;
    map->size = size;
    return ERROR_NONE;
}

void FileMapDone(FileMap *map, int64_t offset, int64_t bytes)
{
    static const int64_t page = sysconf(_SC_PAGESIZE);
    if (map->bytes == nullptr || bytes <= 0) return;
    if (offset != map->runEnd) map->runStart = offset;
    map->runEnd = offset + bytes;
    if (map->runEnd - map->runStart < FILE_MAP_RELEASE_BYTES) return;
    // Only whole pages of the run: the ones at its ends may hold bytes still to be read.
    int64_t first = (map->runStart + page - 1) / page * page;
    int64_t last = map->runEnd / page * page;
    if (last > first) madvise((void *)(map->bytes + first), (size_t)(last - first), MADV_DONTNEED);
    map->runStart = last;
}

void FileMapClose(FileMap *map)
{
    if (map->bytes != nullptr) munmap((void *)map->bytes, (size_t)map->size);
    FileMapReset(map);
}

ErrorCode FileMapGuard(const FileMap *map, void (*work)(void *context), void *context)
{
    FileMapGuardRecord guard;
    guard.first = map->bytes;
    guard.end = map->bytes + map->size;
    guard.outer = FileMapGuardCurrent;
    // The mask is not saved: the handler leaves it untouched, and saving it would cost a
    // system call for every piece of work.
    if (sigsetjmp(guard.jump, 0) != 0) {
        FileMapGuardCurrent = guard.outer;
        return ERROR_READ_FILE;
    }
    FileMapGuardCurrent = &guard;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    work(context);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    FileMapGuardCurrent = guard.outer;
    return ERROR_NONE;
}
