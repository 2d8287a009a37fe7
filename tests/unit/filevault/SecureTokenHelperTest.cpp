#include "tests/unit/filevault/SecureTokenHelperTest.h"

QString SecureTokenHelperTest::message(Update update, bool expected) const
{
    std::optional<QString> told;
    const bool isDone = update(jdoe, *password("newSecret"), boss, *password("bossSecret"), told);
    if (isDone != expected)
        return QStringLiteral("the result is another");
    return told.value_or(QStringLiteral("[none]"));
}

bool SecureTokenHelperTest::verify(const char *text)
{
    return SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(QStringLiteral("jdoe"),
                                                                    *password(text));
}

void SecureTokenHelperTest::init()
{
    m_tools = std::make_unique<ToolFixture>();
    m_directory = std::make_shared<FakeDirectory>();
    m_tools->platform.directory = m_directory;
    FakeDirectory::add(m_directory->users,
                       {{QString::fromUtf16(DirectoryAttribute::RecordName), {jdoe}},
                        {QString::fromUtf16(DirectoryAttribute::GUID),
                         {QStringLiteral("11111111-2222-3333-4444-55555555AAAA")}}});
    // What finding the user logs is another class's business.
    m_tools->log->clear();
}

void SecureTokenHelperTest::cleanup()
{
    m_tools.reset();
    m_directory.reset();
}
