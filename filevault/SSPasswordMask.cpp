#include "filevault/SSPasswordMask.h"

#include "foundation/SSStringHelper.h"

#include <QLatin1String>

#include <algorithm>
#include <array>

namespace {

constexpr qsizetype longestThatStandsAlone = 3;
constexpr qsizetype shortestPiece = 3;

QString stars()
{
    return SSHelper::stringWithRepeatString(QStringLiteral("*"), 8);
}

bool isLineEnd(QChar character)
{
    return character == QLatin1Char('\r') || character == QLatin1Char('\n');
}

/// Of a meaning of its own to a shell or to Tcl.
bool isActive(QChar character)
{
    return character.isSpace() || QLatin1String("$[]{}\"\\;`'()<>|&#!*?~").contains(character);
}

bool isOfWord(QStringView text, qsizetype index)
{
    return index >= 0 && index < text.size() && text[index].isLetterOrNumber();
}

/// Where the trace of a Tcl error begins, of which the first line is "    while executing" or the
/// like; none: -1.
qsizetype startOfTrace(const QString &output)
{
    static constexpr std::array traces{
        QLatin1String("    while executing"), QLatin1String("    while compiling"),
        QLatin1String("    invoked from within"), QLatin1String("    (\"")};
    qsizetype first = -1;
    for (const QLatin1String &trace : traces) {
        for (qsizetype at = output.indexOf(trace); at >= 0; at = output.indexOf(trace, at + 1)) {
            if (at > 0 && !isLineEnd(output[at - 1]))
                continue;
            first = first < 0 ? at : std::min(first, at);
            break;
        }
    }
    return first;
}

} // namespace

void SSPasswordMask::add(const QString &password, const QString &escaped)
{
    if (password.isEmpty())
        return;
    const bool standsAlone = password.size() <= longestThatStandsAlone;
    addForm(password, standsAlone);
    if (escaped != password)
        addForm(escaped, standsAlone);
    if (std::any_of(password.begin(), password.end(), isActive)) {
        m_hasActiveCharacters = true;
        addPieces(password);
    }
}

void SSPasswordMask::addForm(QStringView text, bool standsAlone)
{
    Form form;
    form.standsAlone = standsAlone;
    form.text.reserve(static_cast<std::size_t>(text.size()));
    for (const QChar character : text) {
        if (!isLineEnd(character))
            form.text.push_back(character.unicode());
    }
    if (!form.text.empty())
        m_forms.push_back(std::move(form));
}

void SSPasswordMask::addPieces(QStringView password)
{
    // As words of a command, and as names of variables.
    const auto addRuns = [&](const auto &isBetween) {
        qsizetype start = 0;
        for (qsizetype i = 0; i <= password.size(); ++i) {
            if (i < password.size() && !isBetween(password[i]))
                continue;
            if (i - start >= shortestPiece)
                addForm(password.sliced(start, i - start), true);
            start = i + 1;
        }
    };
    addRuns(isActive);
    addRuns([](QChar character) {
        return !character.isLetterOrNumber() && character != QLatin1Char('_');
    });
}

QString SSPasswordMask::masked(const QString &output) const
{
    if (m_forms.empty())
        return output;
    const qsizetype trace = startOfTrace(output);
    if (trace < 0)
        return withoutForms(output);
    // What the message before the trace quotes may be any part of an active password.
    const QString message = m_hasActiveCharacters ? stars() + QLatin1Char('\n')
                                                  : withoutForms(QStringView(output).first(trace));
    return message + QLatin1String("    while executing\n\"") + stars() + QLatin1Char('"');
}

std::optional<QString> SSPasswordMask::masked(const std::optional<QString> &output) const
{
    if (!output)
        return std::nullopt;
    return masked(*output);
}

QString SSPasswordMask::withoutForms(QStringView text) const
{
    QString result;
    result.reserve(text.size());
    qsizetype maskedUntil = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool isInside = i < maskedUntil;
        // Looked for inside a match as well: what overlaps it is masked to its own end.
        for (const Form &form : m_forms)
            maskedUntil = std::max(maskedUntil, endOfMatch(text, i, form));
        if (i >= maskedUntil)
            result.append(text[i]);
        else if (!isInside)
            result.append(stars());
    }
    return result;
}

/// -1 when there is none at `start`.
qsizetype SSPasswordMask::endOfMatch(QStringView text, qsizetype start, const Form &form) const
{
    qsizetype at = start;
    for (const char16_t character : form.text) {
        while (at > start && at < text.size() && isLineEnd(text[at]))
            ++at;
        if (at >= text.size() || text[at].unicode() != character)
            return -1;
        ++at;
    }
    if (form.standsAlone && (isOfWord(text, start - 1) || isOfWord(text, at)))
        return -1;
    return at;
}
