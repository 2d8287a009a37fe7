// One process's part of bench/settings: loads the cached logon settings, compares them with fresh
// ones and saves those, again and again, and prints the microseconds that a round took.
#include "directory/SSConnectionPointKeywords.h"
#include "platform/linux/settingsfiles/LinuxSettingsFiles.h"
#include "settings/SSLogonSettings.h"
#include "tests/support/FakePlatform.h"

#include <QFile>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

using Microseconds = std::chrono::duration<double, std::micro>;

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

/// Lines "Name=Value".
QMap<QString, QString> keywordsOf(const char *path)
{
    QMap<QString, QString> result;
    QFile file(QString::fromLocal8Bit(path));
    if (!file.open(QIODevice::ReadOnly))
        std::exit(2);
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (!line.isEmpty())
            result.insert(line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1));
    }
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4) {
        std::fputs("usage: bench_settings ROOT KEYWORDS ROUNDS\n", stderr);
        return 2;
    }
    FakePlatform fakes; // an ordinary user, whose process writes in place
    fakes.platform.settingsFiles = std::make_shared<LinuxSettingsFiles>(
        QString::fromLocal8Bit(argv[1]), fakes.identity, SettingsFileDurability::Unsynced);
    SSLogger::sharedInstance()->setLogLevel(0);
    const SSConnectionPointKeywords keywords(keywordsOf(argv[2]),
                                             QStringLiteral("/Active Directory/CORP/All Domains"));
    SSLogonSettings fresh;
    fresh.loadFromConnectionPointKeywords(&keywords);
    if (!fresh.save())
        return 1;
    std::vector<double> rounds;
    const int count = std::atoi(argv[3]);
    for (int i = 0; i < count; ++i) {
        const auto start = std::chrono::steady_clock::now();
        const auto cached = SSLogonSettings::settingsFromCache();
        const bool isRight = cached && fresh.compare(cached.get(), false) && fresh.save();
        rounds.push_back(Microseconds(std::chrono::steady_clock::now() - start).count());
        if (!isRight)
            return 1;
    }
    std::printf("%.1f\n", median(rounds));
    return 0;
}
