#pragma once

#include "foundation/SSApplicationDelegate.h"
#include "platform/Application.h"

#include <memory>

class SSEnroll;

/// Decides at launch which of its roles the process plays, and owns the controller.
class SSEnrollAppDelegate : public ApplicationLifecycleDelegate, public SSApplicationDelegate
{
public:
    /// `showExtras`: the process was started as the tray process.
    [[nodiscard]] static std::shared_ptr<SSEnrollAppDelegate> initWithShowExtras(bool showExtras);
    ~SSEnrollAppDelegate() override;

    void applicationDidFinishLaunching(const LaunchNotice &notice) override;
    void applicationWillTerminate() override;

    [[nodiscard]] qint64 alertWithAlert(const Alert &alert) override;
    [[nodiscard]] qint64 showModalWindow(ModalWindow &window) override;

    [[nodiscard]] std::shared_ptr<SSEnroll> enroll() const { return m_enroll; }
    void setEnroll(std::shared_ptr<SSEnroll> enroll);
    [[nodiscard]] bool showExtras() const { return m_showExtras; }
    void setShowExtras(bool showExtras) { m_showExtras = showExtras; }

private:
    explicit SSEnrollAppDelegate(bool showExtras);

    bool m_showExtras;
    std::shared_ptr<SSEnroll> m_enroll;
};
