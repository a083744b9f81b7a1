// demo_instrument: a small simulated instrument hosted on the library.
//
// It installs its device layer, counts its runs in a persistent parameter,
// enters its firmware application in the firmware info table, builds and
// starts its component tree, sends measurement commands through the
// executor's queue from several threads, then runs the tree back down and
// checks that every component was released. With --serve it answers SCPI
// over TCP instead of running the workload, until SIGINT or SIGTERM.
//
// Exit status: 0 success, 1 wrong replies in the workload, 2 bad options,
// 3 start-up failed (the error went to the device's information
// management, or the server could not listen), 4 components still alive.
#include <KxTamarindCommon.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "Components.h"
#include "DeviceLayer.h"
#include "ScpiCommands.h"
#include "ScpiServer.h"
#include "Shell.h"
#include "Workload.h"

using namespace KxTamarind;

namespace {

struct Options {
    std::string root = "demo-runtime";
    int channels = 4;
    int senders = 4;
    int commands = 1000;
    bool failConnect = false;
    bool serve = false;
    std::string bind = "127.0.0.1";
    int port = 5025;
    int maxClients = 32;
};

void PrintUsage(FILE* out) {
    std::fprintf(out, "usage: demo_instrument [options]\n"
                      "  --root DIR       runtime root (default: ./demo-runtime)\n"
                      "  --channels N     measurement channels, 1..64 (default 4)\n"
                      "  --senders N      sender threads, 1..64 (default 4)\n"
                      "  --commands N     commands per sender, 1..1000000 (default 1000)\n"
                      "  --fail-connect   make one channel refuse to connect\n"
                      "  --serve          answer SCPI over TCP until SIGINT or SIGTERM\n"
                      "  --bind ADDR      numeric address to serve on (default 127.0.0.1)\n"
                      "  --port N         TCP port, 0..65535, 0 picks a free one (default 5025)\n"
                      "  --max-clients N  clients served at once, 1..1024 (default 32)\n"
                      "  --help           this text\n");
}

bool ParseCount(const char* text, int low, int high, int& value) {
    errno = 0;
    char* end = nullptr;
    long v = std::strtol(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || v < low || v > high) {
        return false;
    }
    value = static_cast<int>(v);
    return true;
}

// 0: run; 1: help shown; 2: bad options (message printed).
int ParseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            PrintUsage(stdout);
            return 1;
        }
        if (arg == "--fail-connect" || arg == "--serve") {
            (arg == "--serve" ? options.serve : options.failConnect) = true;
            continue;
        }
        struct Count {
            const char* name;
            int* value;
            int low;
            int high;
        } counts[] = {{"--channels", &options.channels, 1, 64},
                      {"--senders", &options.senders, 1, 64},
                      {"--commands", &options.commands, 1, 1000000},
                      {"--port", &options.port, 0, 65535},
                      {"--max-clients", &options.maxClients, 1, 1024}};
        bool known = false;
        for (const Count& count : counts) {
            if (arg != count.name) {
                continue;
            }
            known = true;
            if (i + 1 >= argc || !ParseCount(argv[i + 1], count.low, count.high, *count.value)) {
                std::fprintf(stderr, "demo_instrument: %s needs a number from %d to %d\n",
                             count.name, count.low, count.high);
                return 2;
            }
            ++i;
        }
        if (known) {
            continue;
        }
        if (arg == "--root" || arg == "--bind") {
            if (i + 1 >= argc || argv[i + 1][0] == '\0') {
                std::fprintf(stderr, "demo_instrument: %s needs a %s\n", arg.c_str(),
                             arg == "--root" ? "directory" : "numeric address");
                return 2;
            }
            (arg == "--root" ? options.root : options.bind) = argv[++i];
            continue;
        }
        std::fprintf(stderr, "demo_instrument: unknown option '%s' (see --help)\n", arg.c_str());
        return 2;
    }
    return 0;
}

// Counts this run in the persistent parameter "runs"; returns its number.
long CountRun() {
    std::string text;
    long runs = 0;
    if (CEmbeddedShell::ReadParameter("runs", text)) {
        runs = std::strtol(text.c_str(), nullptr, 10);
    }
    ++runs;
    if (!CEmbeddedShell::WriteParameter("runs", std::to_string(runs))) {
        std::fprintf(stderr, "warning: the run counter could not be stored\n");
    }
    return runs;
}

// Enters the firmware application and its two logical instruments.
void RegisterFirmware(unsigned short& li1, unsigned short& li2) {
    CFwInfoTable* table = GetFwInfoTable();
    unsigned short app = table->NewFwAppId(0);
    table->GetFwInfo(app)->SetFwAppName(L"DemoApp");
    GUID guid;
    CoCreateGuid(&guid);
    table->GetFwInfo(app)->SetFwAppGuid(guid);
    li1 = table->NewLiId(app);
    li2 = table->NewLiId(app);
    CoCreateGuid(&guid);
    table->SetLiGuid(li1, guid);
    CoCreateGuid(&guid);
    table->SetLiGuid(li2, guid);
    std::printf("firmware application DemoApp: id 0x%04x, instruments 0x%04x 0x%04x\n", app, li1,
                li2);
}

// The instrument's serial number: the persistent parameter "serial".
std::string SerialNumber() {
    std::string serial;
    if (!CEmbeddedShell::ReadParameter("serial", serial) || serial.empty()) {
        serial = "100001";
    }
    return serial;
}

// Serves SCPI on the started tree until SIGINT or SIGTERM.
void Serve(Demo::ScpiServer& server, Demo::DemoShell& shell) {
    Demo::ScpiInstrument instrument(*shell.Executor(), *shell.Controller(), shell.ChannelCount(),
                                    SerialNumber());
    std::printf("listening on %s\n", server.Address().c_str());
    std::fflush(stdout);
    server.Serve(instrument);
    std::printf("server stopped: %ld clients served, %ld refused\n", server.ConnectionsServed(),
                server.ConnectionsRefused());
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    int parsed = ParseOptions(argc, argv, options);
    if (parsed != 0) {
        return parsed == 1 ? 0 : 2;
    }
    std::error_code ec;
    std::filesystem::create_directories(options.root, ec);
    std::string root = std::filesystem::absolute(options.root, ec).lexically_normal().string();
    if (ec || !std::filesystem::is_directory(root)) {
        std::fprintf(stderr, "demo_instrument: cannot use '%s' as runtime root\n",
                     options.root.c_str());
        return 2;
    }

    // Bound before anything starts: a taken port fails at once, and the stop
    // signals are blocked before any other thread exists. A stop signal
    // during start-up ends the server as soon as it serves.
    std::unique_ptr<Demo::ScpiServer> server;
    if (options.serve) {
        server.reset(new Demo::ScpiServer(static_cast<size_t>(options.maxClients)));
        std::string error;
        if (!server->Listen(options.bind, options.port, error)) {
            std::fprintf(stderr, "demo_instrument: %s\n", error.c_str());
            return 3;
        }
    }

    Demo::DemoDevice device(root);
    CEmbeddedShell::SetEmbeddedDeviceCallbacks(&device);
    CEmbeddedShell::SetEmbeddedDatabaseCallbacks(&device);
    SetThreadStackSize(256 * 1024);

    std::printf("%s %s, runtime root %s\n", CEmbeddedShell::GetDeviceName().c_str(),
                CEmbeddedShell::GetSoftwareVersion().c_str(), root.c_str());
    std::printf("run number %ld\n", CountRun());

    int status = 0;
    long components = 0;
    {
        Demo::DemoClasses classes;
        std::unique_ptr<Demo::DemoShell> shell;
        bool started = false;
        try {
            unsigned short li1 = 0;
            unsigned short li2 = 0;
            RegisterFirmware(li1, li2);
            shell.reset(
                new Demo::DemoShell(classes, options.channels, options.failConnect, li1, li2));
            shell->Build();
            shell->Start();
            started = true;
        } catch (CErrorObject* e) {
            // The record goes to the information management, which shuts
            // the device down; the tree is still run back below.
            std::printf("start-up failed:\n%s\n", e->Description().GetString());
            std::fflush(stdout);
            HandleError(e, nullptr);
            status = 3;
        }
        if (started && server) {
            shell->PrintTable();
            Serve(*server, *shell);
        } else if (started) {
            shell->PrintTable();
            Demo::WorkloadResult result;
            Demo::RunWorkload(shell->Executor()->Queue(), shell->ChannelCount(), options.senders,
                              options.commands, result);
            const double ms = 1000.0;
            std::printf("round trips: count %ld, mean %.3f ms, sdev %.3f ms, max %.3f ms\n",
                        result.roundTrip.m_lCount, result.roundTrip.get_Mean() * ms,
                        result.roundTrip.get_Sdev() * ms, result.roundTrip.m_dMax * ms);
            std::printf("workload: %ld commands in %.2f s, %ld verified, %ld failed, "
                        "%ld executed\n",
                        result.sent, result.seconds, result.verified, result.failed,
                        shell->Executor()->Processed());
            if (result.failed != 0) {
                status = 1;
            }
        }
        if (shell) {
            components = shell->ComponentCount();
            shell->TearDown();
            shell->Release();
            shell.reset();
        }
        // Every pool thread back to idle before the leak check.
        GetGlobalThreadPool()->RequestAllThreadsIdle();
    }
    std::printf("errors reported: %ld repaired, %ld fatal%s\n", device.RepairedErrors(),
                device.Errors(), device.WasShutDown() ? " (device shut down)" : "");
    long alive = Demo::ComponentsCreated() - Demo::ComponentsDestroyed();
    if (alive == 0) {
        std::printf("leak check: all %ld components released\n", components);
    } else {
        std::printf("leak check: %ld of %ld components still alive\n", alive, components);
        status = 4;
    }
    CEmbeddedShell::SetEmbeddedDatabaseCallbacks(nullptr);
    CEmbeddedShell::SetEmbeddedDeviceCallbacks(nullptr);
    return status;
}
