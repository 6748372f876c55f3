// SPDX-License-Identifier: Apache-2.0
// The text of a locator.
#include <array>
#include <cstring>
#include <string>

#include "endpoint_reader.h"
#include "fuzz.h"

namespace {

void check_printing(const NUVNetioLocator &locator) {
    std::array<char, NUV_NETIO_LOCATOR_STRING_SIZE> text{};
    const int length = NUVNetioLocator_toString(&locator, text.data(), text.size());
    fuzz::must(length > 0 && std::strlen(text.data()) == static_cast<std::size_t>(length),
               "a locator's text has room and the length that is told");

    std::string exact(static_cast<std::size_t>(length) + 1, '?');
    fuzz::must(NUVNetioLocator_toString(&locator, exact.data(), exact.size()) == length,
               "a text fits where there is room for it and no more");
    fuzz::must(std::strcmp(exact.c_str(), text.data()) == 0, "the text is the same in any room");
    std::string small(static_cast<std::size_t>(length), '?');
    const std::string before = small;
    fuzz::must(NUVNetioLocator_toString(&locator, small.data(), small.size()) == -1 &&
                   small == before,
               "a text that does not fit is not written");

    NUVNetioLocator again = NUV_NETIO_LOCATOR_INVALID;
    fuzz::must(NUVNetioLocator_parse(text.data(), &again) != 0 &&
                   NUVNetioLocator_isSame(&locator, &again) != 0,
               "what is printed reads back as the same locator");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::Messages messages;
    const std::string text = fuzz::text_of(data, size);
    NUVNetioLocator locator;
    std::memset(&locator, 0x5A, sizeof locator);
    NUVNetioLocator before;
    std::memcpy(&before, &locator, sizeof locator);

    const bool is_taken = NUVNetioLocator_parse(text.c_str(), &locator) != 0;
    const auto expected = fuzz::read_locator(text);
    fuzz::must(is_taken == expected.has_value(), "numeric addresses are taken, and nothing else");
    if (is_taken) {
        fuzz::must(fuzz::is_equal(locator, *expected), "a locator is what its text says");
        check_printing(locator);
    } else {
        fuzz::must(std::memcmp(&locator, &before, sizeof locator) == 0,
                   "a refused text leaves the locator as it was");
    }
    fuzz::must(messages.count() == 0, "reading a locator says nothing");
    return 0;
}
