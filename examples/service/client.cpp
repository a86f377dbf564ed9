// SPDX-License-Identifier: Apache-2.0

// Asks the service, and may become another program, for which what was asked for lasts: the process stays the same.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

/** Shows the answer up to its last line. @return whether that says "ok". */
bool ShowAnswer(FILE* answers)
{
    for (char line[4096]; std::fgets(line, sizeof(line), answers) != nullptr && std::fputs(line, stdout) >= 0;) {
        if (std::strncmp(line, "ok", 2) == 0 || std::strncmp(line, "error", 5) == 0) {
            return std::fflush(stdout) == 0 && line[0] == 'o';
        }
    }
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (argc < 3 || std::strlen(argv[1]) >= sizeof(address.sun_path)) {
        std::fprintf(stderr, "usage: %s SOCKET LINE... [-- COMMAND [ARG...]]\n", argv[0]);
        return 2;
    }
    std::memcpy(address.sun_path, argv[1], std::strlen(argv[1]));
    // Stays open in the command: on some kernels it is the connection that what was asked for lasts as long as.
    int const socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(socket, reinterpret_cast<sockaddr const*>(&address), sizeof(address)) != 0) {
        std::perror(argv[1]);
        return 1;
    }
    FILE* const answers = fdopen(dup(socket), "r");
    int next = 2;
    for (; next < argc && std::strcmp(argv[next], "--") != 0; ++next) {
        std::string const line = std::string(argv[next]) + "\n";
        if (send(socket, line.data(), line.size(), MSG_NOSIGNAL) < 0 || !ShowAnswer(answers)) {
            return 1;
        }
    }
    std::fclose(answers);
    if (next + 1 >= argc) {
        return 0;
    }
    execvp(argv[next + 1], argv + next + 1);
    std::perror(argv[next + 1]);
    return 1;
}
