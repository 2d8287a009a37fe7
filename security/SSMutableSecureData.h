#pragma once

#include "security/SSSecure.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>

class SSSecureData;

/// Bytes to be filled in, overwritten with zeros when the object is released. Never copied
/// implicitly; one thread at a time.
class SSMutableSecureData
{
    /// Keeps construction to the operations below.
    struct Key
    {
        explicit Key() = default;
    };

public:
    SSMutableSecureData(Key, std::shared_ptr<SSSecure::Bytes> adopted);
    ~SSMutableSecureData();
    SSMutableSecureData(const SSMutableSecureData &) = delete;
    SSMutableSecureData &operator=(const SSMutableSecureData &) = delete;

    /// `length` zero bytes.
    [[nodiscard]] static std::shared_ptr<SSMutableSecureData> dataWithLength(std::size_t length);
    /// A copy; null for null.
    [[nodiscard]] static std::shared_ptr<SSMutableSecureData>
    dataWithSecureData(const SSSecureData *data);
    /// A copy of the bytes; null for none.
    [[nodiscard]] static std::shared_ptr<SSMutableSecureData>
    initWithData(std::optional<std::span<const std::byte>> data);
    /// Adopts the buffer without copying; whoever else shares it sees it wiped when this object is
    /// released. Null for null.
    [[nodiscard]] static std::shared_ptr<SSMutableSecureData>
    initWithMutableData(std::shared_ptr<SSSecure::Bytes> data);

    [[nodiscard]] std::size_t length() const { return m_mutableData->size(); }
    /// Cuts the buffer or fills it up with zeros. Bytes cut off, and storage left behind, are
    /// wiped.
    void setLength(std::size_t length);
    [[nodiscard]] std::byte *mutableBytes() { return m_mutableData->data(); }
    /// Valid until the length changes or the object goes.
    [[nodiscard]] std::span<std::byte> mutableData() { return *m_mutableData; }
    [[nodiscard]] std::span<const std::byte> data() const { return *m_mutableData; }

    /// Overwrites the bytes with zeros now; the length stays.
    void secureFree();

private:
    std::shared_ptr<SSSecure::Bytes> m_mutableData; // never null
};
