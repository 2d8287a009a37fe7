#include "filevault/SSToolScripts.h"

#include <QStringView>

#include <initializer_list>

namespace {

/// Puts the values into the places "%@" in order, in storage of the right size from the start: a
/// text that grows would leave passwords behind in memory.
QString filled(QStringView script, std::initializer_list<QStringView> values)
{
    static constexpr QStringView place = u"%@";
    qsizetype size = script.size();
    for (const QStringView value : values)
        size += value.size();
    QString result;
    result.reserve(size);
    for (const QStringView value : values) {
        const qsizetype at = script.indexOf(place);
        result.append(script.first(at)).append(value);
        script = script.sliced(at + place.size());
    }
    return result.append(script);
}

} // namespace

QString SSToolScripts::fdeUserList(const QString &adminUserName, const QString &adminPassword)
{
    return filled(
        u"log_user 0;spawn su - -f %@ -c \"sudo fdesetup list\"; "
        u"expect \"Password:\" { send \"%@\\r\" } eof { send_user $expect_out(buffer); exit; }; "
        u"expect \"Password:\" { send \"%@\\r\" } eof { send_user $expect_out(buffer); exit; }; "
        u"log_user 1; expect eof;",
        {adminUserName, adminPassword, adminPassword});
}

QString SSToolScripts::verifyDiskPassword(const QString &userName, const QString &userUID,
                                          const QString &password)
{
    return filled(
        u"log_user 0;spawn su - -f %@ -c \"sudo /usr/sbin/diskutil apfs unlockVolume / -verify "
        u"-user \\\"%@\\\" -passphrase \\\"%@\\\"\"; "
        u"expect \"Password:\" { send \"%@\\r\" } eof { send_user $expect_out(buffer); exit; }; "
        u"expect \"Password:\" { send \"%@\\r\" } eof { send_user $expect_out(buffer); exit; }; "
        u"log_user 1; expect eof;",
        {userName, userUID, password, password, password});
}

QString SSToolScripts::readdFdeUser(const QString &userName, const QString &password,
                                    const QString &adminUserName, const QString &adminPassword)
{
    return filled(
        u"log_user 0;spawn su - -f %@ -c \"sudo fdesetup remove -user \\\"%@\\\"; "
        u"sudo fdesetup add -user \\\"%@\\\" -usertoadd \\\"%@\\\"\"; "
        u"expect \"Password:\" { send \"%@\\r\" } eof { send_user $expect_out(buffer); exit; }; "
        u"expect \"Password:\" { send \"%@\\r\" } eof { send_user $expect_out(buffer); exit; }; "
        u"expect \"Enter the password for user '%@':\" { send \"%@\\r\" } "
        u"eof { send_user $expect_out(buffer); exit; }; "
        u"expect \"Enter the password for the added user '%@':\" { send \"%@\\r\" } "
        u"eof { send_user $expect_out(buffer); exit; }; "
        u"log_user 1; expect eof;",
        {adminUserName, userName, adminUserName, userName, adminPassword, adminPassword,
         adminUserName, adminPassword, userName, password});
}
