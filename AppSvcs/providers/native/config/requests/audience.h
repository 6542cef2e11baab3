#ifndef CONFIG_REQUESTS_AUDIENCE_H
#define CONFIG_REQUESTS_AUDIENCE_H

#include <string>
#include <string_view>

#include "SecurityRole.h"
#include "messages.pb.h"
#include "model/record.h"

namespace AppConfig {

class ConfigStore;

/// Filters changes for a role: it never learns of a variable it may not read, not even as the cause
/// of another change.
class Audience {
public:
    enum class Moment {
        kEvent,    ///< right after the change: also that a variable appears or disappears
        kHistory,  ///< later: of what it could read then and can read now
    };

    /// @param store  borrowed
    Audience(ConfigStore& store, SecurityRole role, Moment moment)
        : m_store(store), m_role(role), m_moment(moment) {}

    /// Fills `told` with what the role may see of a change.
    /// @return whether that touches a variable whose address matches
    [[nodiscard]] bool tell(const Record& record, std::string_view sPattern,
                            pbcommon::Change& told) const;
    /// The effects alone.
    void tell(const Record& record,
              google::protobuf::RepeatedPtrField<pbcommon::Effect>& told) const;

    /// Whether the role may read a variable now.
    [[nodiscard]] bool mayRead(const std::string& sVariable) const;

private:
    [[nodiscard]] bool mayHear(const std::string& sVariable, SecurityRole reader) const;
    [[nodiscard]] std::string masked(const std::string& sVariable, const std::string& sValue) const;
    void fill(pbcommon::Effect& message, const RecordedEffect& effect) const;

    ConfigStore& m_store;
    const SecurityRole m_role;
    const Moment m_moment;
};

}  // namespace AppConfig

#endif
