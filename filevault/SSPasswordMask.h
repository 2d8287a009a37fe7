#pragma once

#include "security/SSSecureMemory.h"

#include <QString>
#include <QStringView>

#include <optional>
#include <vector>

/// Replaces passwords in what a tool printed by "********", so that it may be logged and shown.
/// Found are a password as it is and as a script has it, also where line ends are strewn in.
///
/// A password of characters that mean something to a shell or to the script language is also found
/// in pieces of three characters and more, as the complaints of those name pieces of it. Of such a
/// complaint's trace, which quotes and cuts the script, nothing is kept.
///
/// One of up to three characters is masked only where it stands alone, not inside words, so that
/// the rest stays readable; an empty one is not masked.
///
/// The texts are kept in the storage for secrets. One thread.
class SSPasswordMask
{
public:
    SSPasswordMask() = default;
    SSPasswordMask(const SSPasswordMask &) = delete;
    SSPasswordMask &operator=(const SSPasswordMask &) = delete;

    /// A password, and the same as a script has it.
    void add(const QString &password, const QString &escaped);

    [[nodiscard]] QString masked(const QString &output) const;
    [[nodiscard]] std::optional<QString> masked(const std::optional<QString> &output) const;

private:
    struct Form
    {
        std::vector<char16_t, SSSecureAllocator<char16_t>> text;
        bool standsAlone = false;
    };

    void addForm(QStringView text, bool standsAlone);
    void addPieces(QStringView password);
    [[nodiscard]] QString withoutForms(QStringView text) const;
    [[nodiscard]] qsizetype endOfMatch(QStringView text, qsizetype start, const Form &form) const;

    std::vector<Form> m_forms;
    bool m_hasActiveCharacters = false;
};
