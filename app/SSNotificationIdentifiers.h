#pragma once

#include <QString>

/// What the notifications and their additional actions are told apart by, across processes too.
namespace SSNotificationIdentifier {
inline const QString enroll = QStringLiteral("{0DA0AD54-B798-4608-8B7E-A517AD2563A6}");
inline const QString passwordChanged = QStringLiteral("{09D26182-CA47-4E97-8B65-DC140A6A715D}");
inline const QString skipAction = QStringLiteral("{918D2712-EF7D-47B5-9FE7-5A67C97FF9B4}");
inline const QString remindLaterAction = QStringLiteral("{976BD9D8-657D-4516-AFF0-DE0D26D6B3A7}");
} // namespace SSNotificationIdentifier
