#include "tests/integration/directory/SambaEnvironment.h"
#include "tests/integration/directory/contract/DirectoryContract.h"

#include <QTest>

int main(int argc, char **argv)
{
    const auto node = SambaEnvironment::makeNode({});
    DirectoryContract contract([&node] { return node; });
    return QTest::qExec(&contract, argc, argv);
}
