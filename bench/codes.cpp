// Figures of the offline codes; see codes.

#include "platform/Platform.h"
#include "platform/linux/cryptography/LinuxCryptography.h"
#include "security/SSBase32.h"
#include "security/SSSecureData.h"
#include "security/SSSecurityHelper.h"

#include <QString>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <ctime>
#include <openssl/evp.h>
#include <sys/resource.h>

namespace {

std::atomic<std::uint64_t> heapAllocations{0};

/// Processor time of this thread, which other programs on the computer do not lengthen.
double now()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

template<typename Work>
double secondsOf(const Work &work)
{
    const double start = now();
    work();
    return now() - start;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// What one call allocates: on the heap, and in the storage for secrets.
void printAllocations(const char *name, const std::function<void()> &call)
{
    call(); // what is made once is made here
    const std::uint64_t heap = heapAllocations.load();
    const auto secure = SSSecureMemory::statistics().allocations;
    constexpr int calls = 1000;
    for (int i = 0; i < calls; ++i)
        call();
    std::printf("  %-44s %.3f on the heap, %.3f in the storage for secrets\n", name,
                static_cast<double>(heapAllocations.load() - heap) / calls,
                static_cast<double>(SSSecureMemory::statistics().allocations - secure) / calls);
}

int benchDcc2()
{
    constexpr int rounds = 10240;
    constexpr int repetitions = 301;
    // The first-level hash that calculateMsCash2 hands on, of "Administrator" and "password", comes
    // out of two MD4s that the direct call does not pay for.
    const QString user = QStringLiteral("administrator");
    std::vector<unsigned char> salt;
    for (const QChar character : user) {
        salt.push_back(static_cast<unsigned char>(character.unicode() & 0xffU));
        salt.push_back(static_cast<unsigned char>(character.unicode() >> 8U));
    }
    const std::array<unsigned char, 16> passwordText{'p', 0, 'a', 0, 's', 0, 's', 0,
                                                     'w', 0, 'o', 0, 'r', 0, 'd', 0};
    const auto password = SSSecureData::dataWithData(std::as_bytes(std::span(passwordText)));
    LinuxCryptography cryptography;
    std::array<std::byte, 16> ntHash{};
    std::vector<std::byte> salted(16);
    std::array<std::byte, 16> firstLevel{};
    if (cryptography.md4(password->data(), ntHash) != 0)
        return 1;
    std::copy(ntHash.begin(), ntHash.end(), salted.begin());
    for (const unsigned char byte : salt)
        salted.push_back(std::byte{byte});
    if (cryptography.md4(salted, firstLevel) != 0)
        return 1;

    std::array<unsigned char, 20> direct{};
    std::shared_ptr<SSSecureData> ours;
    const auto callDirect = [&] {
        PKCS5_PBKDF2_HMAC(reinterpret_cast<const char *>(firstLevel.data()),
                          static_cast<int>(firstLevel.size()), salt.data(),
                          static_cast<int>(salt.size()), rounds, EVP_sha1(),
                          static_cast<int>(direct.size()), direct.data());
    };
    const auto callOurs = [&] {
        ours = SSSecurityHelper::calculateMsCash2WithUser(user, password.get(), rounds);
    };
    callDirect();
    callOurs();
    if (!ours || std::memcmp(ours->bytes(), direct.data(), ours->length()) != 0) {
        std::fprintf(stderr, "the two calls disagree\n");
        return 1;
    }
    std::vector<double> ratios;
    std::vector<double> directTimes;
    std::vector<double> ourTimes;
    for (int i = 0; i < repetitions; ++i) {
        // Turn about, so that neither always comes first.
        double directTime = 0;
        double ourTime = 0;
        if (i % 2 == 0) {
            directTime = secondsOf(callDirect);
            ourTime = secondsOf(callOurs);
        } else {
            ourTime = secondsOf(callOurs);
            directTime = secondsOf(callDirect);
        }
        directTimes.push_back(directTime);
        ourTimes.push_back(ourTime);
        ratios.push_back(ourTime / directTime);
    }
    const double ratio = median(ratios);
    std::printf("DCC2, %d iterations, median of %d pairs\n", rounds, repetitions);
    std::printf("  PKCS5_PBKDF2_HMAC alone   %.3f ms\n", median(directTimes) * 1000);
    std::printf("  calculateMsCash2WithUser  %.3f ms\n", median(ourTimes) * 1000);
    std::printf("  ratio                     %.4f (limit 1.05) %s\n", ratio,
                ratio <= 1.05 ? "ok" : "EXCEEDED");
    return ratio <= 1.05 ? 0 : 1;
}

std::vector<std::byte> contentsOf(const char *path)
{
    std::vector<std::byte> contents;
    if (std::FILE *file = std::fopen(path, "rb")) {
        std::array<std::byte, 65536> buffer;
        std::size_t count = 0;
        while ((count = std::fread(buffer.data(), 1, buffer.size(), file)) > 0)
            contents.insert(contents.end(), buffer.begin(),
                            buffer.begin() + static_cast<std::ptrdiff_t>(count));
        std::fclose(file);
    }
    contents.resize(contents.size() / SSBase32::codeLength * SSBase32::codeLength);
    return contents;
}

double processorSeconds(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double secondsOfCommand(const std::string &command)
{
    const double start = processorSeconds(RUSAGE_CHILDREN);
    if (std::system(command.c_str()) != 0)
        std::exit(1);
    return processorSeconds(RUSAGE_CHILDREN) - start;
}

int printAgainst(const char *name, const std::string &command, const std::vector<double> &theirs,
                 const std::vector<double> &ours, std::size_t bytes)
{
    const auto rate = [bytes](const std::vector<double> &times) {
        return static_cast<double>(bytes) / median(times) / 1e6;
    };
    const bool met = rate(ours) >= rate(theirs);
    std::printf("  %s\n    %-50s %6.0f MB/s\n    %-50s %6.0f MB/s %s\n", name, command.c_str(),
                rate(theirs), "SSBase32", rate(ours), met ? "ok" : "SLOWER");
    return met ? 0 : 1;
}

using Code = std::span<const std::byte, SSBase32::codeLength>;
using Text = std::span<char16_t, SSBase32::dashedTextLength>;

int benchBase32(const char *plainPath, const char *textPath)
{
    // As many codes at a time as a reader of a file has in its buffer.
    constexpr std::size_t batch = 1024;
    constexpr int runs = 11;
    const std::vector<std::byte> plain = contentsOf(plainPath);
    const std::size_t codes = plain.size() / SSBase32::codeLength;
    std::vector<char16_t> text(batch * SSBase32::dashedTextLength);
    std::vector<std::byte> back(batch * SSBase32::codeLength);
    const auto code = [&](std::size_t i) {
        return Code(plain.data() + i * SSBase32::codeLength, SSBase32::codeLength);
    };
    const auto textOf = [&](std::size_t i) {
        return Text(text.data() + i % batch * SSBase32::dashedTextLength,
                    SSBase32::dashedTextLength);
    };
    const auto backOf = [&](std::size_t i) {
        return std::span<std::byte, SSBase32::codeLength>(
            back.data() + i % batch * SSBase32::codeLength, SSBase32::codeLength);
    };
    const std::string encoder = std::string("base32 -w0 ") + plainPath + " > /dev/null";
    const std::string decoder = std::string("base32 -d ") + textPath + " > /dev/null";
    std::vector<double> theirEncoding;
    std::vector<double> ourEncoding;
    std::vector<double> theirDecoding;
    std::vector<double> ourDecoding;
    bool right = true;
    for (int run = 0; run < runs; ++run) {
        theirEncoding.push_back(secondsOfCommand(encoder));
        theirDecoding.push_back(secondsOfCommand(decoder));
        double encoding = 0;
        double decoding = 0;
        for (std::size_t begin = 0; begin < codes; begin += batch) {
            const std::size_t end = std::min(codes, begin + batch);
            encoding += secondsOf([&] {
                for (std::size_t i = begin; i < end; ++i)
                    SSBase32::encodeDashed(code(i), textOf(i));
            });
            decoding += secondsOf([&] {
                for (std::size_t i = begin; i < end; ++i)
                    right &= SSBase32::decodeDashed(textOf(i), backOf(i));
            });
            right &= std::memcmp(back.data(), code(begin).data(),
                                 (end - begin) * SSBase32::codeLength) == 0;
        }
        ourEncoding.push_back(encoding);
        ourDecoding.push_back(decoding);
    }
    if (!right) {
        std::fprintf(stderr, "what was encoded does not decode\n");
        return 1;
    }
    std::printf("Base32, %zu codes of 20 bytes, median of %d runs, processor time, MB of plain "
                "bytes\n",
                codes, runs);
    int failed = printAgainst("encoding", encoder, theirEncoding, ourEncoding, plain.size());
    failed |= printAgainst("decoding", decoder, theirDecoding, ourDecoding, plain.size());
    const auto printOperation = [&](const char *name, const auto &call) {
        std::vector<double> times;
        for (int run = 0; run < runs; ++run) {
            times.push_back(secondsOf([&] {
                for (std::size_t i = 0; i < codes; ++i)
                    call(i);
            }));
        }
        std::printf("  %-52s %6.0f MB/s\n", name,
                    static_cast<double>(plain.size()) / median(times) / 1e6);
    };
    printOperation("base32EncodedString, each into a QString of its own", [&](std::size_t i) {
        (void)SSSecure::base32EncodedString(code(i), SSSecure::base32InsertDashes);
    });
    const QString oneText = *SSSecure::base32EncodedString(code(0), SSSecure::base32InsertDashes);
    printOperation("initWithBase32EncodedString, each into wiped memory", [&](std::size_t) {
        right &= SSSecure::initWithBase32EncodedString(oneText).has_value();
    });

    bool decoded = true;
    std::printf("Allocations of one call, of which the result is one where there is one\n");
    const QString dashed = *SSSecure::base32EncodedString(code(0), SSSecure::base32InsertDashes);
    printAllocations("SSBase32::encodeDashed", [&] { SSBase32::encodeDashed(code(0), textOf(0)); });
    printAllocations("SSBase32::decodeDashed",
                     [&] { decoded &= SSBase32::decodeDashed(textOf(0), backOf(0)); });
    printAllocations("SSSecure::base32EncodedString", [&] {
        (void)SSSecure::base32EncodedString(code(0), SSSecure::base32InsertDashes);
    });
    printAllocations("SSSecure::initWithBase32EncodedString",
                     [&] { (void)SSSecure::initWithBase32EncodedString(dashed); });
    return decoded ? failed : 1;
}

} // namespace

// Counts what Qt and the standard library ask of the heap.
extern "C" void *__libc_malloc(std::size_t size);
extern "C" void *malloc(std::size_t size)
{
    // One thread counts: no locked addition, which would weigh more than a call.
    heapAllocations.store(heapAllocations.load(std::memory_order_relaxed) + 1,
                          std::memory_order_relaxed);
    return __libc_malloc(size);
}

int main(int argc, char **argv)
{
    Platform platform;
    platform.cryptography = std::make_shared<LinuxCryptography>();
    Platform::install(&platform);
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "dcc2")
        return benchDcc2();
    if (what == "base32" && argc == 4)
        return benchBase32(argv[2], argv[3]);
    std::fprintf(stderr, "usage: %s dcc2 | base32 PLAIN TEXT\n", argv[0]);
    return 2;
}
