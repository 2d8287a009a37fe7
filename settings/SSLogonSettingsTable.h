#pragma once

#include "settings/SSLogonSettings.h"

#include <algorithm>
#include <array>
#include <variant>

/// What has to be on for a setting to count. All but the first need the whole feature to be on.
enum class SSLogonSettings::Gate {
    Always,
    Enabled,
    CredCacheOrOffline, ///< one of the two features that change the computer's own passwords
    Offline,
    FileVault,
    ComputerKeys, ///< as CredCacheOrOffline, for what is compared only on demand
};

/// Everything about one logon setting.
struct SSLogonSettings::Row
{
    using Field = std::variant<Boolean SSLogonSettings::*, Integer SSLogonSettings::*,
                               Unsigned SSLogonSettings::*, String SSLogonSettings::*,
                               Secure SSLogonSettings::*>;

    /// The dictionary that holds the value, and how it stands there.
    enum class Cache { Settings, SettingsByPresence, Keys, KeysEnciphered };

    /// The text that stands in for a missing one.
    struct BuiltIn
    {
        const char *text = nullptr; ///< null for none
        bool whenEmpty = false;     ///< for an empty one as well
        bool lineFeeds = false;     ///< "\n" of two characters becomes a line feed, in any value
    };

    struct ProgressLine
    {
        const char *text = nullptr; ///< null for none
        quint32 level = 2;
    };

    const char *property;
    const char *key;
    const char *getter;
    Field field;
    BuiltIn builtIn;
    int load;
    Gate gate;
    int compare;
    Gate group;
    Cache cache;
    ProgressLine progress;
    const char *block;

    [[nodiscard]] constexpr bool isKeyMaterial() const
    {
        return cache == Cache::Keys || cache == Cache::KeysEnciphered;
    }
};

/// The rows in the order of the cache and of the settings block, and the other orders as indexes.
struct SSLogonSettings::Table
{
    using S = SSLogonSettings;
    using Cache = Row::Cache;

    // The words of the list of settings.
    static constexpr Row::BuiltIn None{};
    static constexpr Row::BuiltIn WhenAbsent(const char *text) { return {text, false, false}; }
    static constexpr Row::BuiltIn WhenAbsentWithLineFeeds(const char *text)
    {
        return {text, false, true};
    }
    static constexpr Row::BuiltIn WhenEmpty(const char *text) { return {text, true, false}; }
    static constexpr Row::ProgressLine NoProgress{};
    static constexpr Row::ProgressLine Progress(const char *text) { return {text, 2}; }
    static constexpr Row::ProgressLine ProgressAtLevel1(const char *text) { return {text, 1}; }

    static const std::array<Row, rowCount> rows;
    /// The key of one of the rows, without making a text of it every time.
    [[nodiscard]] static const QString &keyOf(const Row &row);

    /// The rows by their places in one walk. Does not compile when a place is taken twice or left
    /// out.
    template<int Row::*place>
    struct Walk
    {
        static constexpr std::size_t size =
            static_cast<std::size_t>(std::count_if(Table::rows.begin(), Table::rows.end(),
                                                   [](const Row &row) { return row.*place != 0; }));
        static constexpr std::array<const Row *, size> rows = [] {
            std::array<const Row *, size> result{};
            for (const Row &row : Table::rows) {
                if (row.*place != 0)
                    result.at(static_cast<std::size_t>(row.*place - 1)) = &row;
            }
            return result;
        }();
        static_assert(std::find(rows.begin(), rows.end(), nullptr) == rows.end());
    };
};

inline constexpr std::array<SSLogonSettings::Row, SSLogonSettings::rowCount>
    SSLogonSettings::Table::rows{{
#define SS_LOGON_SETTING(type_, property_, key_, getter_, builtIn_, load_, gate_, compare_,        \
                         group_, cache_, progress_, block_)                                        \
    Row{                                                                                           \
        .property = #property_,                                                                    \
        .key = (key_),                                                                             \
        .getter = (getter_),                                                                       \
        .field = &S::m_##property_,                                                                \
        .builtIn = (builtIn_),                                                                     \
        .load = (load_),                                                                           \
        .gate = Gate::gate_,                                                                       \
        .compare = (compare_),                                                                     \
        .group = Gate::group_,                                                                     \
        .cache = Cache::cache_,                                                                    \
        .progress = (progress_),                                                                   \
        .block = (block_),                                                                         \
    },
#include "settings/SSLogonSettings.def"
#undef SS_LOGON_SETTING
    }};
