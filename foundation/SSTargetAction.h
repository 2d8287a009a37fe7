#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QThread>

#include <memory>
#include <utility>

/// Makes a QObject that several owners, on several threads, may share: the last one to let go on
/// another thread posts its deletion to the object's own.
template<typename T, typename... Arguments>
[[nodiscard]] std::shared_ptr<T> makeSharedObject(Arguments &&...arguments)
{
    return std::shared_ptr<T>(new T(std::forward<Arguments>(arguments)...), [](T *object) {
        QThread *const home = static_cast<const QObject *>(object)->thread();
        if (!home || home == QThread::currentThread())
            delete object;
        else
            object->deleteLater();
    });
}

/// A callback: a target held weakly and the name of one of its operations, an invokable that takes
/// the sender as its one argument. The name is looked up at the call, so that a missing operation
/// is found out then.
class SSTargetAction
{
public:
    enum class Outcome {
        Called,
        NothingSet,      ///< neither a target nor an action
        TargetMissing,   ///< the target has gone or was never given, an action was
        ActionMissing,   ///< no operation was named
        OperationMissing ///< the target has no operation of that name
    };

    SSTargetAction() = default;
    SSTargetAction(std::weak_ptr<QObject> target, QByteArray action)
        : m_target(std::move(target)), m_action(std::move(action))
    {
    }

    /// Forgets both.
    void clear() { *this = SSTargetAction(); }

    /// Calls the operation with `sender`, directly on this thread. The target stays alive
    /// meanwhile.
    Outcome perform(QObject *sender) const;

    [[nodiscard]] QString action() const { return QString::fromLatin1(m_action); }

private:
    std::weak_ptr<QObject> m_target;
    QByteArray m_action;
};
