#include "events/address.h"

#include "events/event_text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <fmt/format.h>

namespace qldapx {
namespace {

/** An internet address, with its port in network byte order behind it. */
struct AddressForm {
    int type;
    int family;
    std::size_t size; // without the port
    const char *format;
};
constexpr std::array forms = {
    AddressForm{1, AF_INET, 4, "{}:{}"},
    AddressForm{2, AF_INET6, 16, "[{}]:{}"},
};

std::string internetAddress(const AddressForm &form, std::string_view bytes) {
    std::array<char, INET6_ADDRSTRLEN> host{};
    inet_ntop(form.family, bytes.data(), host.data(), host.size());
    const auto high = static_cast<unsigned char>(bytes[form.size]);
    const auto low = static_cast<unsigned char>(bytes[form.size + 1]);
    return fmt::format(fmt::runtime(form.format), host.data(), high * 256 + low);
}

} // namespace

std::string addressText(const void *record) {
    const auto &address = *static_cast<const NetAddrEventData *>(record);
    const std::string_view bytes(address.value, address.length);
    const auto form = std::find_if(forms.begin(), forms.end(), [&](const AddressForm &each) {
        return each.type == address.addressType && each.size + 2 == bytes.size();
    });
    return form == forms.end() ? fmt::format("type {} {}", address.addressType, bytesText(bytes))
                               : internetAddress(*form, bytes);
}

} // namespace qldapx
