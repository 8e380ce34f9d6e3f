// companionsim: a companion process for demos and tests of the agent's companion socket.
//   companionsim [-s SOCKET] [-e "CONTROL LINE"]...   (control lines also on standard input)
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "CompanionSim.h"

int main(int argc, char** argv) {
    std::string path = "/tmp/CommServer";
    std::vector<std::string> lines;
    int opt;
    while ((opt = getopt(argc, argv, "s:e:")) != -1) {
        if (opt == 's')
            path = optarg;
        else if (opt == 'e')
            lines.push_back(optarg);
        else {
            fprintf(stderr, "usage: %s [-s socket] [-e control-line]...\n", argv[0]);
            return 2;
        }
    }
    companionsim::CompanionSim sim(stdout);
    if (sim.Connect(path) != 0) {
        fprintf(stderr, "cannot connect to %s\n", path.c_str());
        return 1;
    }
    for (const std::string& l : lines)
        if (sim.Control(l) < 0) fprintf(stderr, "bad control line: %s\n", l.c_str());
    std::atomic<int> run{1};
    sim.Run(run, STDIN_FILENO);
    return 0;
}
