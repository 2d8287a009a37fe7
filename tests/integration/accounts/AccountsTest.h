#pragma once

#include "platform/linux/accounts/LocalAccountNode.h"

#include <QObject>
#include <QTemporaryDir>

#include <memory>
#include <string_view>

/// A test among accounts of every kind, those of a directory included. Run by with-own-etc as root,
/// it makes accounts as it likes.
class AccountsTest : public QObject
{
    Q_OBJECT

protected:
    using Code = DirectoryError::Code;

    /// The password of "ssit-alice".
    static constexpr char16_t alicePassword[] = u"Grün€ 𝄞 \"$[x]\\ ";
    static constexpr quint32 aliceId = 7101;
    static constexpr quint32 bobId = 7102;
    static constexpr quint32 domainUserId = 7201;
    static constexpr quint32 filedUserId = 7301;

    static QString text(const char16_t *name) { return QString::fromUtf16(name); }
    /// The question for users of that name.
    static DirectoryQuery named(const QString &name);
    /// The local node's account of that name, or none.
    [[nodiscard]] std::shared_ptr<DirectoryRecord> record(const QString &name) const;
    /// "right", "wrong" for a plain false, or the error's code and text.
    [[nodiscard]] QString check(const char *name, std::u16string_view password) const;
    static QString error(Code code, const char *description);

    LocalAccountNode::Options m_options;

private Q_SLOTS:
    void initTestCase();

private:
    QTemporaryDir m_folder;
};
