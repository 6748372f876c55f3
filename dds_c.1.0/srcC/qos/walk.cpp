// SPDX-License-Identifier: Apache-2.0
// The path of a setting, and its text.
#include "qos/walk.h"

#include <charconv>

namespace dds::qos {

void PathText::append_field(std::string_view name) {
    append(length_ > 0 ? "." : "");
    append(name);
}

void PathText::append_index(DDS_Long index) {
    append("[");
    length_ =
        static_cast<std::size_t>(std::to_chars(text_ + length_, text_ + SIZE, index).ptr - text_);
    append("]");
}

void PathText::append(std::string_view text) {
    text.copy(text_ + length_, SIZE - 1 - length_);
    length_ += text.size();
}

DDS_Long Path::index() const {
    return index_ != NO_INDEX || whole_ == nullptr ? index_ : whole_->index();
}

PathText Path::text() const {
    PathText text;
    append_to(text, false);
    return text;
}

PathText Path::text_with_index() const {
    PathText text;
    append_to(text, true);
    return text;
}

void Path::append_to(PathText &text, bool with_index) const {
    if (whole_ != nullptr) {
        whole_->append_to(text, with_index);
    }
    if (name_ != nullptr) {
        text.append_field(name_);
    } else if (with_index && index_ != NO_INDEX) {
        text.append_index(index_);
    }
}

} // namespace dds::qos
