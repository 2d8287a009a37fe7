#pragma once

#include <memory>

/// Owns one reference to a counted system object and releases it once when destroyed, unless it is
/// null. `Ref` is the handle type, `Release` what gives one reference back.
template<typename Ref, void (*Release)(Ref)>
class SSAutoRef
{
public:
    [[nodiscard]] static std::unique_ptr<SSAutoRef> autoRef(Ref ref)
    {
        return std::make_unique<SSAutoRef>(ref);
    }

    /// Takes the caller's reference over; adds none.
    explicit SSAutoRef(Ref ref) : m_ref(ref) {}
    ~SSAutoRef()
    {
        if (m_ref)
            Release(m_ref);
    }
    SSAutoRef(const SSAutoRef &) = delete;
    SSAutoRef &operator=(const SSAutoRef &) = delete;

    [[nodiscard]] Ref ref() const { return m_ref; }
    /// A plain store: neither releases the old reference nor retains the new one.
    void setRef(Ref ref) { m_ref = ref; }

private:
    Ref m_ref;
};
