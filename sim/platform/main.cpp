// platformsim: a platform for one agent on loopback, driven by commands on stdin or a FIFO.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "PlatformSim.h"
#include "SimCommand.h"

namespace {

struct Options {
    psim::SimSettings settings;
    std::string portsFile;
    std::string fifo;
    bool useStdin = true;
};

void Usage() {
    printf(
        "usage: platformsim [--name value]... [--ports-file PATH] [--fifo PATH] [--no-stdin]\n"
        "settings: %s\n"
        "answer modes (reg-mode, login-mode): answer silent close nodata\n%s",
        psim::SettingNames(), psim::CommandHelp());
}

// 0 ok, 1 help shown, -1 error.
int ParseArgs(int argc, char** argv, Options* o) {
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            Usage();
            return 1;
        }
        if (a == "--no-stdin") {
            o->useStdin = false;
            continue;
        }
        if (a.rfind("--", 0) != 0 || i + 1 >= argc) {
            fprintf(stderr, "platformsim: bad argument %s (--help)\n", a.c_str());
            return -1;
        }
        std::string name = a.substr(2);
        std::string value = argv[++i];
        if (name == "ports-file") {
            o->portsFile = value;
        } else if (name == "fifo") {
            o->fifo = value;
        } else {
            std::string err = psim::ApplySetting(&o->settings, name, value);
            if (!err.empty()) {
                fprintf(stderr, "platformsim: %s\n", err.c_str());
                return -1;
            }
        }
    }
    return 0;
}

int OpenFifo(const std::string& path) {
    if (mkfifo(path.c_str(), 0600) != 0 && errno != EEXIST) return -1;
    // Opened for writing too, so that the FIFO never reports end of file between writers.
    return open(path.c_str(), O_RDWR | O_NONBLOCK);
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    o.settings.decode = 1;  // a person reads the answers; tests drive the library instead
    int r = ParseArgs(argc, argv, &o);
    if (r != 0) return r > 0 ? 0 : 2;

    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    psim::PlatformSim sim(o.settings);
    sim.SetOutput([](const std::string& line) {
        fputs(line.c_str(), stdout);
        fputc('\n', stdout);
        fflush(stdout);
    });
    auto onQuit = [] { kill(getpid(), SIGTERM); };
    auto onLine = [&sim, &onQuit](const std::string& line) { psim::RunCommand(sim, line, onQuit); };
    // Without a FIFO the end of stdin ends the simulator; with one it keeps listening.
    bool quitAtEof = o.fifo.empty();
    if (o.useStdin)
        sim.AddLineSource(0, onLine, [&] {
            if (quitAtEof) onQuit();
        });
    int fifoFd = -1;
    if (!o.fifo.empty()) {
        fifoFd = OpenFifo(o.fifo);
        if (fifoFd < 0) {
            fprintf(stderr, "platformsim: cannot open FIFO %s: %s\n", o.fifo.c_str(),
                    strerror(errno));
            return 2;
        }
        sim.AddLineSource(fifoFd, onLine);
    }
    if (sim.Start() != 0) return 1;
    if (!o.portsFile.empty()) {
        std::ofstream f(o.portsFile + ".tmp");
        f << "reg=" << sim.RegPort() << "\nlogin=" << sim.LoginPort() << "\n";
        f.close();
        rename((o.portsFile + ".tmp").c_str(), o.portsFile.c_str());
    }
    int sig = 0;
    sigwait(&stopSignals, &sig);
    sim.Stop();
    if (fifoFd >= 0) close(fifoFd);
    return 0;
}
