#pragma once

#include "platform/Diagnostics.h"
#include "platform/Directory.h"
#include "platform/linux/accounts/SuPasswordCheck.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <string_view>

/// The ordinary user who asks about others.
inline constexpr quint32 askingId = 7101;
inline constexpr char16_t oddPassword[] = u"Grün€ 𝄞 \"q\" 'q' \\n $HOME $[x] `id` {}; ";

/// The answers as Check has them.
[[nodiscard]] QString cannot(const char *name, const char *reason);
[[nodiscard]] QString refused(const char *name);

/// One check: "right" or the error's code and text; what was logged; and what the check left
/// behind, which is to be nothing.
struct Check
{
    QString answer;
    QString log;
    QString left;

    /// As one text, as a process gives it to another.
    [[nodiscard]] static QString
    run(const std::function<Result<bool, DirectoryError>(const DiagnosticSink &)> &verify);
    [[nodiscard]] static Check of(const QString &text);
};

/// A check through the local node, as a Check's text.
[[nodiscard]] QString checkNode(const char *name, std::u16string_view password);
/// The same, by an ordinary user.
[[nodiscard]] Check askNode(const char *name, std::u16string_view password);
/// A check by an ordinary user of an account that only su needs to know; `before` is run first.
[[nodiscard]] Check askSu(
    const QByteArray &name, std::u16string_view password,
    const SuPasswordCheck::Options &options = {}, const std::function<void()> &before = [] {});

/// Makes a local account. Root's.
[[nodiscard]] bool addAccount(const char *name, const char *id, const char *shell);
