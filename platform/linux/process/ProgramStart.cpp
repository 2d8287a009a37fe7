#include "platform/linux/process/ProgramStart.h"

#include <QByteArray>

#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <vector>

#include <spawn.h>
#include <string.h>
#include <unistd.h>

namespace {

using Code = ChildProcessError::Code;

/// Texts as the system takes them, wiped at the end.
class CStrings
{
public:
    CStrings() = default;
    ~CStrings()
    {
        for (QByteArray &text : m_owned)
            explicit_bzero(text.data(), static_cast<std::size_t>(text.size()));
    }
    CStrings(const CStrings &) = delete;
    CStrings &operator=(const CStrings &) = delete;

    /// False for a text that would reach the program cut short.
    [[nodiscard]] bool append(const QString &text)
    {
        m_owned.push_back(text.toUtf8());
        m_pointers.push_back(m_owned.back().data());
        return !text.contains(QChar(u'\0'));
    }
    /// `text` outlives this.
    void append(char *text) { m_pointers.push_back(text); }

    [[nodiscard]] char *const *list()
    {
        m_pointers.push_back(nullptr);
        return m_pointers.data();
    }

private:
    std::vector<QByteArray> m_owned;
    std::vector<char *> m_pointers;
};

class SpawnOptions
{
public:
    SpawnOptions()
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawnattr_init(&m_attributes);
    }
    ~SpawnOptions()
    {
        posix_spawnattr_destroy(&m_attributes);
        posix_spawn_file_actions_destroy(&m_actions);
    }
    SpawnOptions(const SpawnOptions &) = delete;
    SpawnOptions &operator=(const SpawnOptions &) = delete;

    /// An error number, 0 for none.
    [[nodiscard]] int set(const Descriptor *input, const Descriptor &output)
    {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        int error = 0;
        const auto then = [&error](int step) { error = error != 0 ? error : step; };
        then(posix_spawnattr_setsigmask(&m_attributes, &none));
        then(posix_spawnattr_setsigdefault(&m_attributes, &all));
        then(posix_spawnattr_setflags(&m_attributes,
                                      POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
        if (input)
            then(posix_spawn_file_actions_adddup2(&m_actions, input->number(), STDIN_FILENO));
        then(posix_spawn_file_actions_adddup2(&m_actions, output.number(), STDOUT_FILENO));
        then(posix_spawn_file_actions_adddup2(&m_actions, output.number(), STDERR_FILENO));
        then(posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1));
        return error;
    }
    [[nodiscard]] const posix_spawn_file_actions_t *actions() const { return &m_actions; }
    [[nodiscard]] const posix_spawnattr_t *attributes() const { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

/// This process's environment with untranslated texts and UTF-8.
void appendOwnEnvironment(CStrings &environment)
{
    static constexpr std::array<std::string_view, 2> left{"LC_ALL=", "LANGUAGE="};
    static std::array locale = std::to_array("LC_ALL=C.UTF-8");
    for (char **variable = environ; variable && *variable; ++variable) {
        const std::string_view text(*variable);
        if (!text.starts_with(left[0]) && !text.starts_with(left[1]))
            environment.append(*variable);
    }
    environment.append(locale.data());
}

bool appendGivenEnvironment(CStrings &environment, const QMap<QString, QString> &given)
{
    for (auto entry = given.constBegin(); entry != given.constEnd(); ++entry) {
        const bool isName = !entry.key().isEmpty() && !entry.key().contains(QLatin1Char('='));
        QString variable;
        variable.reserve(entry.key().size() + 1 + entry.value().size());
        variable.append(entry.key()).append(QLatin1Char('=')).append(entry.value());
        const bool isWhole = environment.append(variable);
        explicit_bzero(variable.data(), static_cast<std::size_t>(variable.size()) * sizeof(QChar));
        if (!isName || !isWhole)
            return false;
    }
    return true;
}

Failure<ChildProcessError> failure(Code code, const QString &program, const QString &reason)
{
    return Failure{ChildProcessError{
        code, QStringLiteral("The program \"%1\" cannot be started: %2").arg(program, reason)}};
}

Failure<ChildProcessError> failure(int number, const QString &program)
{
    switch (number) {
    case ENOENT:
        // The system's answer also for a script whose interpreter is missing.
        if (::access(program.toUtf8().constData(), F_OK) == 0)
            return failure(Code::NotExecutable, program,
                           QStringLiteral("what it needs to run does not exist"));
        return failure(Code::NotFound, program, errorText(number));
    case ENOTDIR:
        return failure(Code::NotFound, program, errorText(number));
    case EACCES:
    case EISDIR:
    case ELIBBAD:
    case ELOOP:
    case ENOEXEC:
    case EPERM:
    case ETXTBSY:
        return failure(Code::NotExecutable, program, errorText(number));
    default:
        return failure(Code::System, program, errorText(number));
    }
}

} // namespace

QString errorText(int number)
{
    const char *text = strerrordesc_np(number);
    return text ? QString::fromLatin1(text) : QStringLiteral("error %1").arg(number);
}

Result<std::unique_ptr<SpawnedProcess>, ChildProcessError>
startProgram(const ChildProcessRequest &request, const Descriptor *input, const Descriptor &output)
{
    const QString &program = request.executable;
    CStrings arguments;
    if (!arguments.append(program))
        return failure(Code::NotFound, program.section(QChar(u'\0'), 0, 0),
                       QStringLiteral("its path contains a null character"));
    if (!program.startsWith(QLatin1Char('/')))
        return failure(Code::NotFound, program, QStringLiteral("its path is not absolute"));
    for (const QString &argument : request.arguments.value_or(QStringList())) {
        if (!arguments.append(argument))
            return failure(Code::System, program,
                           QStringLiteral("an argument contains a null character"));
    }
    CStrings environment;
    if (!request.environment)
        appendOwnEnvironment(environment);
    else if (!appendGivenEnvironment(environment, *request.environment))
        return failure(Code::System, program,
                       QStringLiteral("its environment has a variable that cannot be"));

    SpawnOptions options;
    pid_t id = 0;
    int error = options.set(input, output);
    char *const *argumentList = arguments.list();
    if (error == 0)
        error = ::posix_spawn(&id, argumentList[0], options.actions(), options.attributes(),
                              argumentList, environment.list());
    if (error != 0)
        return failure(error, program);
    return std::make_unique<SpawnedProcess>(id);
}
