#include "platform/linux/core/ProcessListMount.h"

#include <QByteArray>
#include <QList>

#include <algorithm>

namespace {

struct Mount
{
    QByteArray id;
    QByteArray parent;
    QByteArray root; ///< the folder of the file system that is mounted
    QByteArray type;
    QByteArray options; ///< of the file system
};

/// The mounts at /proc. A line: id, parent, device, root, place, options of the mount, any number
/// of tags, "-", type, source, options of the file system.
QList<Mount> mountsAtProc(QByteArrayView mountTable)
{
    QList<Mount> result;
    const QList<QByteArray> lines = mountTable.toByteArray().split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype end = fields.indexOf("-", 6);
        if (end < 0 || fields.size() < end + 4 || fields.at(4) != "/proc")
            continue;
        result.append(
            {fields.at(0), fields.at(1), fields.at(3), fields.at(end + 1), fields.at(end + 3)});
    }
    return result;
}

/// Older kernels show the number that was set, newer ones its name.
bool hidesProcesses(const QByteArray &options)
{
    const QList<QByteArray> all = options.split(',');
    return std::any_of(all.begin(), all.end(), [](const QByteArray &option) {
        static const QList<QByteArray> hiding{"hidepid=1", "hidepid=noaccess",
                                              "hidepid=2", "hidepid=invisible",
                                              "hidepid=4", "hidepid=ptraceable"};
        return hiding.contains(option);
    });
}

} // namespace

std::optional<bool> ProcessListMount::isOpenToOthers(QByteArrayView mountTable)
{
    const QList<Mount> mounts = mountsAtProc(mountTable);
    for (const Mount &mount : mounts) {
        const bool isCovered = std::any_of(mounts.begin(), mounts.end(), [&](const Mount &other) {
            return other.parent == mount.id;
        });
        if (isCovered)
            continue;
        if (mount.type != "proc" || mount.root != "/")
            return std::nullopt;
        return !hidesProcesses(mount.options);
    }
    return std::nullopt;
}
