#include "convert/JournalFields.h"

namespace quorvalent::JournalFields {

std::string joined(const std::vector<std::string> &fields)
{
    std::string bytes;
    for (const std::string &field : fields)
        bytes += field + '\0';
    return bytes;
}

std::optional<std::vector<std::string>> split(const std::string &bytes, std::size_t count)
{
    std::vector<std::string> fields;
    for (std::size_t at = 0; fields.size() < count;) {
        const std::size_t end = bytes.find('\0', at);
        if (end == std::string::npos)
            return std::nullopt;
        fields.push_back(bytes.substr(at, end - at));
        at = end + 1;
    }
    return fields;
}

bool isPlainName(const std::string &name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

} // namespace quorvalent::JournalFields
