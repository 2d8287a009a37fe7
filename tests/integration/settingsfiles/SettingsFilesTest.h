#pragma once

#include "tests/integration/settingsfiles/SettingsFilesScene.h"

#include <QObject>

/// A test of the settings files: it runs as root, with the accounts that the files are made for and
/// by, and leaves no descriptor open.
class SettingsFilesTest : public QObject
{
    Q_OBJECT

protected:
    using Code = SettingsFileError::Code;

    static QString folder() { return SettingsFilesScene::folder(); }
    static QString settings() { return SettingsFilesScene::settings(); }
    static QString keys() { return SettingsFilesScene::keys(); }
    /// The scene's `path` as the messages have it.
    static QString quoted(const SettingsFilesScene &scene, const QString &path);

    /// What a test needs besides; called once, after the accounts are there.
    virtual void prepare() {}

    [[nodiscard]] const Account &agent() const { return m_agent; }
    [[nodiscard]] const Account &user() const { return m_user; }
    /// How many descriptors were open when the test function began.
    [[nodiscard]] int descriptorsBefore() const { return m_descriptors; }

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

private:
    Account m_agent; ///< "_securityagent"
    Account m_user;  ///< "ssit-user", an ordinary one
    int m_descriptors = 0;
};
