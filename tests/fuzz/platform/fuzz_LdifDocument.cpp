#include "platform/embedded/directory/LdifDirectory.h"

#include <cstdlib>

// Any bytes either are LDIF, and then every record can be read and searched, or are refused with
// the number of a line that exists.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    auto document = LdifDocument::parse(text);
    if (!document) {
        if (document.error().line < 1 || document.error().line > text.count('\n') + 1)
            std::abort();
        return 0;
    }
    const LdifDirectory directory(std::move(document).value(), QStringLiteral("fuzz"), nullptr);
    for (const auto kind : {LdifDirectory::Kind::Account, LdifDirectory::Kind::User,
                            LdifDirectory::Kind::ConnectionPoint}) {
        for (const std::size_t entry : directory.entriesOfKind(kind)) {
            const DirectoryDetails details = directory.details(kind, entry);
            if (details.contains(QStringLiteral("userPassword")))
                std::abort();
            // Whatever a record shows, a search for it finds.
            for (auto it = details.cbegin(); it != details.cend(); ++it) {
                for (const QString &value : it.value()) {
                    const DirectoryQuery query{DirectoryRecordType::Users,
                                               it.key(),
                                               DirectoryMatchType::EqualTo,
                                               value,
                                               {},
                                               0};
                    if (!directory.matches(kind, entry, query))
                        std::abort();
                }
            }
        }
    }
    return 0;
}
