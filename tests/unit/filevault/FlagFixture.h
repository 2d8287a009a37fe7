#pragma once

#include "filevault/SSSecureTokenHelper.h"
#include "platform/PropertyList.h"
#include "tests/support/FakeDirectory.h"
#include "tests/support/FakePlatform.h"

#include <QDateTime>

/// A user's defaults file, and a platform to keep it on.
namespace Flag {

using namespace Qt::Literals::StringLiterals;

inline const QString home = u"/home/jdoe"_s;
inline const QString library = home + u"/Library"_s;
inline const QString preferences = library + u"/Preferences"_s;
inline const QString file = preferences + u"/com.zevrik.selfservice.plist"_s;

/// What the two files below hold, but for the flag.
inline QVariantMap otherValues()
{
    return {{u"LogLevel"_s, qlonglong{2}},
            {u"Seen"_s, QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7), Qt::UTC)},
            {u"Cookie"_s, QByteArray("\x00\xff\x10", 3)},
            {u"Nested"_s, QVariantMap{{u"List"_s, QVariantList{qlonglong{1}, 2.5, u"drei"_s, true,
                                                               qlonglong{-7}}}}},
            {u"Big"_s, qulonglong{9223372036854775813U}}};
}

/// Python's plistlib wrote it, with the flag `flag` ("<true/>") put in by hand.
inline QByteArray xmlFile(const QByteArray &flag = "<false/>")
{
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Big</key>
	<integer>9223372036854775813</integer>
	<key>Cookie</key>
	<data>
	AP8Q
	</data>
	<key>LogLevel</key>
	<integer>2</integer>
	<key>Nested</key>
	<dict>
		<key>List</key>
		<array>
			<integer>1</integer>
			<real>2.5</real>
			<string>drei</string>
			<true/>
			<integer>-7</integer>
		</array>
	</dict>
	<key>PasswordChanged</key>
	)" +
           flag + R"(
	<key>Seen</key>
	<date>2026-03-04T05:06:07Z</date>
</dict>
</plist>
)";
}

/// The same in the binary form, the flag false; plistlib's as well.
inline QByteArray binaryFile()
{
    return QByteArray::fromBase64(
        "YnBsaXN0MDDWAQIDBAUGBwgJChITU0JpZ1ZDb29raWVYTG9nTGV2ZWxWTmVzdGVkXxAPUGFzc3dvcmRDaGFuZ2Vk"
        "VFNlZW4UAAAAAAAAAACAAAAAAAAABUMA/xAQAtELDFRMaXN0pQ0ODxAREAEjQAQAAAAAAABUZHJlaQkT////////"
        "//kIM0HHq/qfgAAACBUZICkwQkdYXF5hZmxud3x9hocAAAAAAAABAQAAAAAAAAAUAAAAAAAAAAAAAAAAAAAAkA==");
}

/// And with the flag true.
inline QByteArray flaggedBinaryFile()
{
    return QByteArray::fromBase64(
        "YnBsaXN0MDDWAQIDBAUGBwgJChASU0JpZ1ZDb29raWVYTG9nTGV2ZWxWTmVzdGVkXxAPUGFzc3dvcmRDaGFuZ2Vk"
        "VFNlZW4UAAAAAAAAAACAAAAAAAAABUMA/xAQAtELDFRMaXN0pQ0ODxAREAEjQAQAAAAAAABUZHJlaQkT////////"
        "//kzQcer+p+AAAAIFRkgKTBCR1hcXmFmbG53fH2GAAAAAAAAAQEAAAAAAAAAEwAAAAAAAAAAAAAAAAAAAI8=");
}

/// A dictionary without the flag and with as many values as a file may hold.
inline QByteArray fullFile()
{
    // The dictionary, its key, the array and what is in it.
    QByteArray values;
    for (int i = 0; i < 100'000 - 3; ++i)
        values += "<true/>";
    return "<plist><dict><key>a</key><array>" + values + "</array></dict></plist>";
}

inline QString error(const QString &text)
{
    return u"[Error]: "_s + text;
}
inline QString as(const QString &operation)
{
    return u"as jdoe: "_s + operation;
}

/// jdoe, whose home folder holds nothing yet, and a directory that knows him.
struct Fixture
{
    explicit Fixture(quint32 userId = 1000)
    {
        fake.platform.directory = directory;
        fake.identity->userId = userId;
        addRecord(u"1234"_s);
        files().addFolder(home);
    }
    void addRecord(const QString &groupId, const QString &folder = home) const
    {
        directory->localUsers.records.clear();
        FakeDirectory::add(directory->localUsers,
                           {{u"dsAttrTypeStandard:RecordName"_s, {u"jdoe"_s}},
                            {u"dsAttrTypeStandard:PrimaryGroupID"_s, {groupId}},
                            {u"dsAttrTypeStandard:OriginalNFSHomeDirectory"_s, {folder}}});
    }
    void addFile(const QByteArray &bytes) const
    {
        addFolders();
        FakeSettingsFiles::Entry entry;
        entry.bytes = bytes;
        entry.mode = 0640;
        entry.owner = u"jdoe"_s;
        entry.groupId = 77;
        files().entries.insert(file, entry);
    }
    void addFolders() const
    {
        files().addFolder(library);
        files().addFolder(preferences);
    }
    void fails(const QString &operation) const
    {
        files().errors.insert(operation, u"no such luck"_s);
    }
    [[nodiscard]] FakeSettingsFiles &files() const { return *fake.settingsFiles; }
    [[nodiscard]] QByteArray bytes() const { return files().entries.value(file).bytes; }
    [[nodiscard]] QVariantMap values() const
    {
        const PropertyListResult result = readPropertyList(bytes());
        return result ? result.value().toMap() : QVariantMap();
    }
    /// Mode, owner and group of the file.
    [[nodiscard]] QString rights() const
    {
        const auto entry = files().entries.value(file);
        return u"%1 %2 %3"_s.arg(entry.mode, 4, 8, QLatin1Char('0'))
            .arg(entry.owner)
            .arg(entry.groupId.value_or(0));
    }
    [[nodiscard]] QStringList errors() const { return fake.log->lines().filter(u"[Error]"_s); }
    /// Of the flag's own operation.
    [[nodiscard]] QStringList trace() const
    {
        return fake.log->lines().filter(u">> +[SSSecureTokenHelper "_s);
    }

    FakePlatform fake;
    std::shared_ptr<FakeDirectory> directory = std::make_shared<FakeDirectory>();
};

} // namespace Flag
