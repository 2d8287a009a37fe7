#include "platform/PropertyList.h"

#include <QFile>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

/// Memory of its own, so that what looks for a secret can leave its own copies out.
class Window
{
public:
    static constexpr std::size_t size = std::size_t{1} << 20U;
    Window()
        : m_bytes(static_cast<std::byte *>(
              ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
    }
    ~Window() { ::munmap(m_bytes, size); }
    Window(const Window &) = delete;
    Window &operator=(const Window &) = delete;
    [[nodiscard]] std::byte *bytes() const { return m_bytes; }
    [[nodiscard]] bool overlaps(quintptr begin, quintptr end) const
    {
        const auto own = reinterpret_cast<quintptr>(m_bytes);
        return begin < own + size && own < end;
    }

private:
    std::byte *m_bytes;
};

} // namespace

/// Whether key material stays where it was put. All memory of the process that can be written is
/// looked through, what was freed included.
class tst_PropertyListSecrets : public QObject
{
    Q_OBJECT

    static constexpr std::size_t secretSize = 96;
    static std::byte secretByte(std::size_t index)
    {
        return static_cast<std::byte>((index * 89 + 41) ^ (index >> 2U));
    }
    static void putSecret(std::byte *target)
    {
        for (std::size_t i = 0; i < secretSize; ++i)
            target[i] = secretByte(i);
    }
    /// From its middle, as the allocator writes over the beginning of what is freed.
    static bool isSecret(const std::byte *bytes)
    {
        constexpr std::size_t from = 32;
        for (std::size_t i = from; i < from + 32; ++i) {
            if (bytes[i - from] != secretByte(i))
                return false;
        }
        return true;
    }

    static int copies(const Window &window)
    {
        const int memory = ::open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
        QFile maps(QStringLiteral("/proc/self/maps"));
        if (memory < 0 || !maps.open(QIODevice::ReadOnly))
            return -1;
        int found = 0;
        for (const QByteArray &line : maps.readAll().split('\n')) {
            const qsizetype dash = line.indexOf('-');
            const qsizetype blank = line.indexOf(' ');
            if (blank < 0 || line.mid(blank + 1, 2) != "rw")
                continue;
            const auto begin = static_cast<quintptr>(line.left(dash).toULongLong(nullptr, 16));
            const auto end = static_cast<quintptr>(
                line.mid(dash + 1, blank - dash - 1).toULongLong(nullptr, 16));
            // What is larger is a sanitizer's table, and mostly not there.
            constexpr quintptr largest = quintptr{1} << 30U;
            if (!window.overlaps(begin, end) && end - begin < largest)
                found += copiesBetween(begin, end, memory, window);
        }
        ::close(memory);
        return found;
    }
    /// Those that begin in the first `count` bytes.
    static int copiesIn(const std::byte *bytes, ssize_t count)
    {
        int found = 0;
        const std::byte *const end = bytes + std::max<ssize_t>(count, 0);
        const int first = std::to_integer<int>(secretByte(32));
        while (const void *next =
                   std::memchr(bytes, first, static_cast<std::size_t>(end - bytes))) {
            const auto *candidate = static_cast<const std::byte *>(next);
            found += isSecret(candidate) ? 1 : 0;
            bytes = candidate + 1;
        }
        return found;
    }
    static int copiesBetween(quintptr begin, quintptr end, int memory, const Window &window)
    {
        int found = 0;
        constexpr std::size_t overlap = 31;
        for (quintptr at = begin; at < end; at += Window::size - overlap) {
            const ssize_t count =
                ::pread(memory, window.bytes(), std::min<quintptr>(Window::size, end - at),
                        static_cast<off_t>(at));
            found += copiesIn(window.bytes(), count - static_cast<ssize_t>(overlap));
        }
        return found;
    }

private Q_SLOTS:
    void writingAndReadingAKeyCopiesItOnlyIntoTheFile()
    {
        const Window window;
        QCOMPARE(copies(window), 0);
        std::vector<std::byte> secret(secretSize);
        putSecret(secret.data());
        QCOMPARE(copies(window), 1);

        PropertyListDictionary dictionary;
        dictionary.insert(QStringLiteral("key"), PropertyListData{secret, nullptr});
        for (int i = 0; i < 40; ++i)
            dictionary.insert(QString::number(i), QString(100, QLatin1Char('x')));
        dictionary.insert(QStringLiteral("again"), PropertyListData{secret, nullptr});
        auto file = writeBinaryPropertyList(dictionary);
        QVERIFY(file.ok());
        QCOMPARE(copies(window), 2);

        // As a secure buffer adopts it: moved, not copied.
        const auto adopted = std::make_shared<std::vector<std::byte>>(std::move(file).value());
        QCOMPARE(copies(window), 2);
        {
            const auto read = readBinaryPropertyListDictionary({*adopted, adopted});
            QVERIFY(read.ok());
            const auto data = read.value().data(QStringLiteral("key"));
            QVERIFY(data && data->bytes.size() == secretSize);
            QVERIFY(std::ranges::equal(data->bytes, secret));
        }
        std::ranges::fill(*adopted, std::byte{0});
        std::ranges::fill(secret, std::byte{0});
        QCOMPARE(copies(window), 0);
    }

    void theCopiesOfAByteArrayAreSeen()
    {
        const Window window;
        std::vector<std::byte> secret(secretSize);
        putSecret(secret.data());
        const QByteArray copy(reinterpret_cast<const char *>(secret.data()), secretSize);
        QCOMPARE(copies(window), 2);
        std::ranges::fill(secret, std::byte{0});
        QCOMPARE(copies(window), 1);
        QCOMPARE(copy.size(), qsizetype{secretSize});
    }
};

QTEST_GUILESS_MAIN(tst_PropertyListSecrets)
#include "tst_PropertyListSecrets.moc"
