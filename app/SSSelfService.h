#pragma once

#include <QString>

#include <memory>
#include <optional>

class SSApplicationDelegate;
class SSLogonSettings;

/// What opening the application plainly does. Main thread; the directory blocks it.
class SSSelfService
{
public:
    SSSelfService();
    ~SSSelfService();
    SSSelfService(const SSSelfService &) = delete;
    SSSelfService &operator=(const SSSelfService &) = delete;

    /// Opens the self-service page in the default browser, or says in an alert why it cannot.
    static void showSelfService(SSApplicationDelegate *delegate);

    /// From the directory, or from the cache when the directory has no connection point or cannot
    /// be reached. False when neither has settings.
    bool loadSettings();
    /// None without settings, and when they have no page.
    [[nodiscard]] std::optional<QString> getSelfServiceURL() const;

private:
    std::unique_ptr<SSLogonSettings> m_loginSettings;
};
