#include "foundation/SSTargetAction.h"

#include <QMetaMethod>

SSTargetAction::Outcome SSTargetAction::perform(QObject *sender) const
{
    const std::shared_ptr<QObject> target = m_target.lock();
    if (!target)
        return m_action.isEmpty() ? Outcome::NothingSet : Outcome::TargetMissing;
    if (m_action.isEmpty())
        return Outcome::ActionMissing;
    const QMetaObject *meta = target->metaObject();
    const int index = meta->indexOfMethod((m_action + "(QObject*)").constData());
    if (index < 0)
        return Outcome::OperationMissing;
    meta->method(index).invoke(target.get(), Qt::DirectConnection, Q_ARG(QObject *, sender));
    return Outcome::Called;
}
