// The program the crash-capture tests run: it optionally loads the plug-in
// bundle (and with it the library's exception port), then does one fault
// scenario. Its exit status (or the signal that ends it) is compared with
// the same scenario run without the bundle.
//
// usage: diagnostics_fault_child load|none SCENARIO
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dirent.h>
#include <dlfcn.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

sigjmp_buf gJump;
volatile sig_atomic_t gnRecovered = 0;

void Recover(int) {
    gnRecovered = gnRecovered + 1;
    siglongjmp(gJump, 1);
}

void PriorHandler(int) { _exit(42); }

void InstallOwn(void (*pfn)(int), int nSignal) {
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = pfn;
    action.sa_flags = SA_NODEFER;
    sigaction(nSignal, &action, nullptr);
}

int CountThreads() {
    int n = 0;
    if (DIR* dir = opendir("/proc/self/task")) {
        while (dirent* e = readdir(dir)) n += e->d_name[0] != '.';
        closedir(dir);
    }
    return n;
}

void BadAccess() { *static_cast<volatile int*>(nullptr) = 1; }

void Divide() {
    volatile int nZero = 0;
    volatile int nResult = 10 / nZero;
    (void)nResult;
}

void BadInstruction() { __builtin_trap(); }

// Touching a mapping past the end of its file raises SIGBUS.
void BusError() {
    FILE* file = tmpfile();
    if (file == nullptr) _exit(3);
    auto* p = static_cast<volatile char*>(mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fileno(file), 0));
    if (p == MAP_FAILED) _exit(3);
    (void)p[0];
}

void* FaultOnThread(void*) {
    BadAccess();
    return nullptr;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const std::string szScenario = argv[2];
    // Handlers a program had before the library came are set first.
    if (szScenario == "twice") InstallOwn(Recover, SIGSEGV);
    if (szScenario == "prior") InstallOwn(PriorHandler, SIGSEGV);
    if (szScenario == "served") InstallOwn(Recover, SIGSEGV);

    if (std::string(argv[1]) == "load") {
        if (dlopen(HARLUNE_BUNDLE_PATH "/Contents/Linux/HarluneVirtualAudioDevice.so", RTLD_NOW) == nullptr) {
            fprintf(stderr, "%s\n", dlerror());
            return 2;
        }
    }

    if (szScenario == "segv") BadAccess();
    if (szScenario == "fpe") Divide();
    if (szScenario == "ill") BadInstruction();
    if (szScenario == "bus") BusError();
    if (szScenario == "raise") raise(SIGSEGV);
    if (szScenario == "kill-ill") kill(getpid(), SIGILL);
    if (szScenario == "prior") BadAccess();
    if (szScenario == "thread") {
        pthread_t thread;
        pthread_create(&thread, nullptr, FaultOnThread, nullptr);
        pthread_join(thread, nullptr);
    }
    if (szScenario == "twice") {
        if (sigsetjmp(gJump, 1) == 0) BadAccess();
        if (sigsetjmp(gJump, 1) == 0) BadAccess();
        return 10 + gnRecovered;
    }
    if (szScenario == "fork") {
        pid_t pid = fork();
        if (pid == 0) {
            alarm(20); // a hang would end the child by SIGALRM instead
            BadAccess();
            _exit(0);
        }
        int nStatus = 0;
        waitpid(pid, &nStatus, 0);
        return WIFSIGNALED(nStatus) ? 100 + WTERMSIG(nStatus) : WEXITSTATUS(nStatus);
    }
    if (szScenario == "served") {
        // With the library, the one exception is served and its thread ends.
        const int nBefore = CountThreads();
        if (sigsetjmp(gJump, 1) == 0) BadAccess();
        for (int i = 0; i < 200 && CountThreads() == nBefore; ++i) usleep(10000);
        return nBefore - CountThreads();
    }
    return 0;
}
