#include "platform/embedded/directory/LdifDirectoryService.h"
#include "tests/integration/directory/contract/DirectoryContract.h"

#include <QTest>

int main(int argc, char **argv)
{
    LdifDirectoryService service(
        QString::fromLocal8Bit(CONTRACT_LDIF),
        [](unsigned, DiagnosticType, const QString &message) { qInfo("%s", qPrintable(message)); });
    DirectoryContract contract([&service]() -> std::shared_ptr<DirectoryNode> {
        const auto node = service.nodeWithType(DirectoryNodeType::Authentication);
        return node.ok() ? node.value() : nullptr;
    });
    return QTest::qExec(&contract, argc, argv);
}
