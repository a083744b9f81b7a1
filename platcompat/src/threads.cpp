// Threads on joinable POSIX threads. A thread object is a Waitable (manual
// reset, signalled when the thread function returned) shared by its handle
// and by the running thread; whoever drops the last reference after the
// thread ended joins it, or the thread detaches itself when it is the last.
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <mutex>
#include <new>

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platcompat/thread.h"
#include "waitable.h"

using platcompat_detail::HandleObject;
using platcompat_detail::HandleUse;
using platcompat_detail::Waitable;

namespace {

class ThreadObject : public Waitable {
public:
    ThreadObject(unsigned (*start)(void*), void* arg)
        : Waitable(Kind::Thread, true, false), m_start(start), m_arg(arg) {}

    unsigned (*const m_start)(void*);
    void* const m_arg;
    // Written by the creator before the handle is handed out; the reference
    // count orders it before the destructor, wherever that runs.
    pthread_t m_thread{};
    bool m_created = false;

    std::mutex m_startLock; // guards the start hand-shake
    std::condition_variable m_startCv;
    bool m_tidKnown = false;

    std::atomic<pid_t> m_tid{0};
    std::atomic<DWORD> m_exitCode{STILL_ACTIVE};
    std::atomic<bool> m_ended{false};
    std::atomic<int> m_priority{THREAD_PRIORITY_NORMAL};

protected:
    ~ThreadObject() override {
        if (!m_created)
            return;
        if (pthread_equal(pthread_self(), m_thread))
            pthread_detach(m_thread); // the thread outlived its last handle
        else
            pthread_join(m_thread, nullptr); // it ended: only its exit path is left
    }
};

thread_local DWORD t_tid = 0;
// The calling thread's own object when _beginthreadex made it.
thread_local ThreadObject* t_self = nullptr;
// Priority of a thread that _beginthreadex did not make.
thread_local int t_priority = THREAD_PRIORITY_NORMAL;

HANDLE const kCurrentThread = reinterpret_cast<HANDLE>(static_cast<intptr_t>(-2));

void* threadMain(void* p) {
    ThreadObject* self = static_cast<ThreadObject*>(p);
    t_self = self;
    {
        std::lock_guard<std::mutex> guard(self->m_startLock);
        self->m_tid.store(static_cast<pid_t>(GetCurrentThreadId()), std::memory_order_relaxed);
        self->m_tidKnown = true;
    }
    self->m_startCv.notify_one();
    unsigned code = self->m_start(self->m_arg);
    self->m_exitCode.store(code, std::memory_order_release);
    self->m_ended.store(true, std::memory_order_release);
    self->Set();
    t_self = nullptr;
    self->Release();
    return nullptr;
}

// Target of a priority or affinity call: the calling thread for the
// pseudo-handle, else a thread object that has not ended.
struct Target {
    HandleUse use;
    ThreadObject* object = nullptr;
    bool current = false;
    explicit Target(HANDLE h) : use(h == kCurrentThread ? nullptr : h) {
        if (h == kCurrentThread) {
            current = true;
            object = t_self;
            return;
        }
        HandleObject* obj = use.get();
        if (obj && obj->kind() == HandleObject::Kind::Thread)
            object = static_cast<ThreadObject*>(obj);
    }
    bool valid() const { return current || object; }
    bool running() const {
        return current || (object && !object->m_ended.load(std::memory_order_acquire));
    }
    pthread_t thread() const { return current ? pthread_self() : object->m_thread; }
    pid_t tid() const {
        return current ? static_cast<pid_t>(GetCurrentThreadId())
                       : object->m_tid.load(std::memory_order_relaxed);
    }
};

bool niceFor(int priority, int* nice) {
    switch (priority) {
    case THREAD_PRIORITY_IDLE:
        *nice = 19;
        return true;
    case THREAD_PRIORITY_LOWEST:
        *nice = 10;
        return true;
    case THREAD_PRIORITY_BELOW_NORMAL:
        *nice = 5;
        return true;
    case THREAD_PRIORITY_NORMAL:
        *nice = 0;
        return true;
    case THREAD_PRIORITY_ABOVE_NORMAL:
        *nice = -5;
        return true;
    case THREAD_PRIORITY_HIGHEST:
        *nice = -10;
        return true;
    case THREAD_PRIORITY_TIME_CRITICAL:
        *nice = -20;
        return true;
    default:
        return false;
    }
}

} // namespace

// `security` is ignored.
uintptr_t _beginthreadex(void* /*security*/, unsigned stackSize, unsigned (*start)(void*),
                         void* arg, unsigned initFlag, unsigned* threadId) {
    if (!start || (initFlag & ~STACK_SIZE_PARAM_IS_A_RESERVATION) != 0) {
        errno = EINVAL;
        return 0;
    }
    ThreadObject* obj = new (std::nothrow) ThreadObject(start, arg);
    if (!obj) {
        errno = ENOMEM;
        return 0;
    }
    obj->AddRef(); // the thread's own reference
    HANDLE handle = platcompat_detail::HandleCreate(obj);
    if (!handle) {
        obj->Release();
        errno = EAGAIN;
        return 0;
    }

    pthread_attr_t attr;
    pthread_attr_init(&attr);
    int rc = 0;
    if (stackSize != 0) {
        size_t size = stackSize;
        size_t minimum = static_cast<size_t>(PTHREAD_STACK_MIN);
        if (size < minimum)
            size = minimum;
        size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        size = (size + page - 1) / page * page;
        rc = pthread_attr_setstacksize(&attr, size);
    }
    pthread_t thread;
    if (rc == 0)
        rc = pthread_create(&thread, &attr, threadMain, obj);
    pthread_attr_destroy(&attr);
    if (rc != 0) {
        obj->Release(); // the thread never started
        platcompat_detail::HandleClose(handle);
        errno = rc;
        return 0;
    }
    obj->m_thread = thread;
    obj->m_created = true;
    {
        std::unique_lock<std::mutex> lock(obj->m_startLock);
        obj->m_startCv.wait(lock, [obj] { return obj->m_tidKnown; });
    }
    if (threadId)
        *threadId = static_cast<unsigned>(obj->m_tid.load(std::memory_order_relaxed));
    return reinterpret_cast<uintptr_t>(handle);
}

BOOL GetExitCodeThread(HANDLE thread, LPDWORD exitCode) {
    if (!exitCode) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    HandleUse use(thread);
    HandleObject* obj = use.get();
    if (!obj || obj->kind() != HandleObject::Kind::Thread) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    *exitCode = static_cast<ThreadObject*>(obj)->m_exitCode.load(std::memory_order_acquire);
    return TRUE;
}

DWORD GetCurrentThreadId() {
    if (t_tid == 0)
        t_tid = static_cast<DWORD>(syscall(SYS_gettid));
    return t_tid;
}

HANDLE GetCurrentThread() {
    return kCurrentThread;
}

BOOL SetThreadPriority(HANDLE thread, int priority) {
    int nice;
    if (!niceFor(priority, &nice)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    Target target(thread);
    // A thread that ended has given its kernel id back; it may name
    // another thread by now.
    if (!target.valid() || !target.running()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (setpriority(PRIO_PROCESS, static_cast<id_t>(target.tid()), nice) != 0) {
        SetLastError(errno == EACCES || errno == EPERM ? ERROR_ACCESS_DENIED
                                                       : ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (target.object)
        target.object->m_priority.store(priority, std::memory_order_relaxed);
    else
        t_priority = priority;
    return TRUE;
}

int GetThreadPriority(HANDLE thread) {
    Target target(thread);
    if (!target.valid()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return THREAD_PRIORITY_ERROR_RETURN;
    }
    return target.object ? target.object->m_priority.load(std::memory_order_relaxed) : t_priority;
}

DWORD_PTR SetThreadAffinityMask(HANDLE thread, DWORD_PTR mask) {
    if (mask == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    Target target(thread);
    if (!target.valid() || !target.running()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    constexpr int kBits = static_cast<int>(sizeof(DWORD_PTR) * CHAR_BIT);
    cpu_set_t old;
    CPU_ZERO(&old);
    if (pthread_getaffinity_np(target.thread(), sizeof(old), &old) != 0) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    DWORD_PTR previous = 0;
    for (int cpu = 0; cpu < kBits; ++cpu)
        if (CPU_ISSET(cpu, &old))
            previous |= DWORD_PTR(1) << cpu;
    cpu_set_t wanted;
    CPU_ZERO(&wanted);
    for (int cpu = 0; cpu < kBits; ++cpu)
        if (mask & (DWORD_PTR(1) << cpu))
            CPU_SET(cpu, &wanted);
    if (pthread_setaffinity_np(target.thread(), sizeof(wanted), &wanted) != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    return previous;
}

BOOL GetThreadPosixHandle(HANDLE thread, pthread_t* out) {
    Target target(thread);
    if (!out || !target.valid()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    *out = target.thread();
    return TRUE;
}
