// Stands in for su in a mount namespace, set-user-ID root as that is. What it does is chosen by the
// account that it is asked about; what it was given, it writes to a file.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dirent.h>
#include <termios.h>
#include <unistd.h>

namespace {

void report(const std::string &line)
{
    if (std::FILE *file = std::fopen(SS_SU_REPORT, "ae")) {
        std::fprintf(file, "%s\n", line.c_str());
        std::fclose(file);
    }
}

void print(const std::string &text)
{
    if (write(STDOUT_FILENO, text.data(), text.size()) < 0)
        std::exit(3);
}

[[noreturn]] void waitForEver()
{
    for (;;)
        pause();
}

std::string ask(const char *prompt, bool hidden)
{
    print(prompt);
    termios before{};
    tcgetattr(STDIN_FILENO, &before);
    termios during = before;
    if (hidden)
        during.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &during);
    char line[4096];
    const ssize_t size = read(STDIN_FILENO, line, sizeof line);
    std::string answer(line, size > 0 ? static_cast<std::size_t>(size) : 0);
    report("typed " + answer.substr(0, answer.find('\n')));
    tcsetattr(STDIN_FILENO, TCSADRAIN, &before);
    print("\n");
    return answer.substr(0, answer.find('\n'));
}

void reportWhatIsGiven(char **arguments)
{
    for (char **argument = arguments; *argument; ++argument)
        report(std::string("argument ") + *argument);
    for (char **variable = environ; *variable; ++variable)
        report(std::string("variable ") + *variable);
    DIR *const folder = opendir("/proc/self/fd");
    int descriptors = -1; // the folder's own
    while (const dirent *entry = readdir(folder))
        descriptors += entry->d_name[0] != '.';
    closedir(folder);
    report("descriptors " + std::to_string(descriptors));
    report("effective user " + std::to_string(geteuid()));
}

} // namespace

int main(int count, char **arguments)
{
    const std::string account = arguments[count - 1];
    report("process " + std::to_string(getpid()));
    if (account == "silent")
        waitForEver();
    if (account == "stays")
        std::signal(SIGHUP, SIG_IGN);
    if (account == "own-root" || account == "stays") {
        if (setuid(0) != 0) // out of its caller's reach
            return 3;
        waitForEver();
    }
    if (account == "shows-typed") {
        ask("Password: ", false);
        return 0;
    }
    if (account == "pin") {
        ask("PIN: ", true);
        return 0;
    }
    if (account == "greets") {
        print("Touch the reader.\n");
        ask("Password: ", true);
        return 0;
    }
    if (account == "reader") {
        print("Touch the reader.\n");
        waitForEver();
    }
    if (account == "trusts") {
        print("Welcome.\n");
        return 0;
    }

    if (account == "reports")
        reportWhatIsGiven(arguments);
    const std::string password = ask("Password: ", true);
    if (account == "asks-twice") {
        ask("Verification code: ", true);
    } else if (account == "thinks") {
        waitForEver();
    } else if (account == "floods") {
        for (;;)
            print("There is no end to it.\n");
    } else if (account == "tells") {
        print("Not " + password + "!\n");
        return 1;
    } else if (account == "killed") {
        kill(getpid(), SIGKILL);
    }
    return 0;
}
