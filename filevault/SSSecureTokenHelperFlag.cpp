#include "filevault/SSSecureTokenHelper.h"

#include "directory/SSUserInfoHelper.h"
#include "foundation/SSFormat.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "foundation/SSNumberReading.h"
#include "platform/Identity.h"
#include "platform/Platform.h"
#include "platform/PropertyList.h"
#include "platform/SettingsFiles.h"
#include "platform/UserDefaultsStore.h"

#include <limits>
#include <utility>

namespace {

const QString libraryFolder = QStringLiteral("/Library");
const QString preferencesFolder = QStringLiteral("/Library/Preferences");
const QString fileExtension = QStringLiteral("plist");
const QString flagKey = QStringLiteral("PasswordChanged");
constexpr quint32 privateFile = 0600;
constexpr quint32 privateFolder = 0700;

bool isRoot()
{
    return Platform::current().identity->effectiveUserId() == 0;
}

/// Behind a message that has no place for it.
void logCause(const QString &cause)
{
    SSLog(1, SSMessageType::Error, "%@", cause);
}

/// The defaults file below a home folder; empty when either is unknown.
QString pathInHome(const std::optional<QString> &home)
{
    const QString domain = Platform::current().defaults->domain();
    if (!home || home->isEmpty() || domain.isEmpty())
        return {};
    return SSFormat::format("%@%@/%@.%@", *home, preferencesFolder, domain, fileExtension);
}

/// Where "~" stands for the current user's home folder in the account database.
QString pathOfCurrentUser()
{
    const QString domain = Platform::current().defaults->domain();
    if (domain.isEmpty())
        return {};
    QString path = SSFormat::format("~%@/%@.%@", preferencesFolder, domain, fileExtension);
    IdentityService &identity = *Platform::current().identity;
    const auto account = identity.accountWithId(identity.effectiveUserId());
    if (!account) {
        logCause(account.error().localizedDescription);
        return {};
    }
    if (!account.value() || account.value()->homeFolder.isEmpty())
        return {};
    return path.replace(0, 1, account.value()->homeFolder);
}

/// A file's contents. A file that is yet to be made is XML.
struct Defaults
{
    QVariantMap values;
    PropertyListFormat format = PropertyListFormat::Xml;
};

Result<QByteArray, SettingsFileError> bytesOf(SettingsFiles &files, const QString &path)
{
    const auto bytes = files.read(path);
    if (!bytes)
        return Failure{bytes.error()};
    return QByteArray(reinterpret_cast<const char *>(bytes.value().data()),
                      static_cast<qsizetype>(bytes.value().size()));
}

bool isDictionary(const QVariant &values)
{
    return values.typeId() == QMetaType::QVariantMap;
}

Result<Defaults, PropertyListError> parsed(const QByteArray &bytes)
{
    const auto values = readPropertyList(bytes);
    if (!values)
        return Failure{values.error()};
    if (!isDictionary(values.value()))
        return Failure{PropertyListError{QStringLiteral("the property list is no dictionary")}};
    return Defaults{values.value().toMap(), propertyListFormat(bytes)};
}

/// A user's file and what it is given.
struct UserFile
{
    QString userName;
    QString home;
    QString path;
    SettingsFileAttributes attributes;
};

/// None, with the reason in the log, when the user or his file's name is not known.
std::optional<UserFile> fileOfUser(const QString &userName)
{
    std::optional<qint64> groupId;
    std::optional<QString> home;
    if (!SSUserInfoHelper::getInfoForUser(userName, &groupId, &home)) {
        SSLog(1, SSMessageType::Error, "Unable get user '%@' information.", userName);
        return std::nullopt;
    }
    UserFile file{userName, home.value_or(QString()), pathInHome(home), {}};
    if (file.path.isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable get user '%@' defaults file name.", userName);
        return std::nullopt;
    }
    file.attributes.mode = privateFile;
    file.attributes.owner = userName;
    if (groupId && *groupId >= 0 && *groupId < std::numeric_limits<quint32>::max())
        file.attributes.groupId = static_cast<quint32>(*groupId);
    return file;
}

void logUntranslated(const UserFile &file, const QString &cause)
{
    SSLog(1, SSMessageType::Error, "Unable translate user '%@' defaults", file.userName);
    logCause(cause);
}

void logUnwritten(const UserFile &file, const SettingsFileError &error)
{
    SSLog(1, SSMessageType::Error, "Unable write user '%@' defaults to file.", file.userName);
    logCause(error.localizedDescription);
}

/// Makes the folders that the file lies in, where they are not there yet, the user's alone. False
/// with the reason in the log.
bool makeFolders(SettingsFiles &files, const UserFile &file)
{
    SettingsFileAttributes attributes = file.attributes;
    attributes.mode = privateFolder;
    for (const QString &folder : {file.home + libraryFolder, file.home + preferencesFolder}) {
        if (files.exists(folder))
            continue;
        if (const auto made = files.createDirectory(folder, attributes); !made) {
            logUnwritten(file, made.error());
            return false;
        }
    }
    return true;
}

/// Puts the file with the flag in its place. False with the reason in the log.
bool writeFlag(SettingsFiles &files, const UserFile &file, Defaults defaults, bool flag)
{
    defaults.values.insert(flagKey, flag);
    const auto bytes = writePropertyList(defaults.values, defaults.format);
    if (!bytes) {
        SSLog(1, SSMessageType::Error, "Unable serialize user '%@' defaults. Error: %@",
              file.userName, bytes.error().text);
        return false;
    }
    if (!makeFolders(files, file))
        return false;
    const auto written = files.writeAtomically(file.path, bytes.value(), file.attributes);
    if (!written) {
        logUnwritten(file, written.error());
        return false;
    }
    if (const auto given = files.setAttributes(file.path, file.attributes); !given) {
        SSLog(1, SSMessageType::Error, "Unable correct rights of the file: %@. Error: %@",
              file.path, given.error().localizedDescription);
        return false;
    }
    return true;
}

/// Takes over the attributes and the contents of a file that is there. False, with the reason in
/// the log, when it is not to be replaced.
bool takeOver(SettingsFiles &files, UserFile &file, Defaults &defaults)
{
    const auto attributes = files.attributes(file.path);
    if (attributes) {
        file.attributes = attributes.value();
    } else {
        SSLog(1, SSMessageType::Error, "Unable get attributes for the file: %@", file.path);
        logCause(attributes.error().localizedDescription);
    }
    const auto bytes = bytesOf(files, file.path);
    if (!bytes) {
        // It may be a good one, which was only locked or not to be read just now.
        logUntranslated(file, bytes.error().localizedDescription);
        return false;
    }
    auto contents = parsed(bytes.value());
    if (contents)
        defaults = std::move(contents).value();
    else // Of no use to anybody, so it is replaced.
        logUntranslated(file, contents.error().text);
    return true;
}

} // namespace

std::optional<bool> SSSecureTokenHelper::readPasswordChanged()
{
    if (isRoot()) {
        SSLog(1, SSMessageType::Error, "only ordinary user can read from user defaults.");
        return std::nullopt;
    }
    const QString path = pathOfCurrentUser();
    if (path.isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable get user defaults file name.");
        return std::nullopt;
    }
    SettingsFiles &files = *Platform::current().settingsFiles;
    if (!files.exists(path))
        return false;
    const auto bytes = bytesOf(files, path);
    const auto contents = bytes ? parsed(bytes.value())
                                : Failure{PropertyListError{bytes.error().localizedDescription}};
    if (!contents) {
        SSLog(1, SSMessageType::Error, "Unable translate user defaults");
        logCause(contents.error().text);
        return std::nullopt;
    }
    return SSNumberReading::boolValue(contents.value().values.value(flagKey));
}

bool SSSecureTokenHelper::passwordChanged()
{
    const SSFunctionLog scope("+[SSSecureTokenHelper passwordChanged]");
    return readPasswordChanged().value_or(false);
}

bool SSSecureTokenHelper::updatePasswordChangedForUser(const QString &userName)
{
    const SSFunctionLog scope("+[SSSecureTokenHelper updatePasswordChangedForUser:]");
    if (!isRoot()) {
        SSLog(1, SSMessageType::Error, "Only root can write to user defaults.");
        return false;
    }
    auto file = fileOfUser(userName);
    if (!file)
        return false;
    // The user may put links and folders of his choice on the way to his file.
    const auto files = Platform::current().settingsFiles->asUser(userName);
    if (!files) {
        SSLog(1, SSMessageType::Error, "Unable get user '%@' information.", userName);
        logCause(files.error().localizedDescription);
        return false;
    }
    Defaults defaults;
    if (files.value()->exists(file->path) && !takeOver(*files.value(), *file, defaults))
        return false;
    return writeFlag(*files.value(), *file, std::move(defaults), true);
}

bool SSSecureTokenHelper::resetPasswordChangedFlag()
{
    const SSFunctionLog scope("+[SSSecureTokenHelper resetPasswordChangedFlag]");
    if (isRoot()) {
        SSLog(1, SSMessageType::Error, "Only ordinary user can write to user defaults.");
        return false;
    }
    const auto file = fileOfUser(Platform::current().identity->accountName());
    if (!file)
        return false;
    SettingsFiles &files = *Platform::current().settingsFiles;
    if (!files.exists(file->path))
        return true;
    const auto bytes = bytesOf(files, file->path);
    if (!bytes) {
        logUntranslated(*file, bytes.error().localizedDescription);
        return false;
    }
    const auto values = readPropertyList(bytes.value());
    if (!values) {
        logUntranslated(*file, values.error().text);
        return false;
    }
    if (!isDictionary(values.value())) // and so holds no flag
        return true;
    return writeFlag(files, *file, {values.value().toMap(), propertyListFormat(bytes.value())},
                     false);
}
