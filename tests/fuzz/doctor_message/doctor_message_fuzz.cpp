// SPDX-License-Identifier: Apache-2.0
// What one end of ddspart doctor says to the other.
#include <string_view>

#include "doctor/end.h"
#include "doctor/message.h"
#include "doctor/volley.h"
#include "fuzz.h"

using namespace doctor;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const Reading reading = read_message({reinterpret_cast<const char *>(data), size});

    if (!reading.message) {
        return 0;
    }
    const Message &message = *reading.message;

    fuzz::must(reading.kind == message.kind, "the kind is that of the message");
    const std::string text = to_text(message);

    fuzz::must(reading.version == MESSAGE_VERSION, "only the own version is understood");
    fuzz::must(text.size() <= MESSAGE_SIZE_HIGHEST, "no message is longer than messages may be");
    fuzz::must(read_message(text).message == message, "a message reads back as itself");
    fuzz::must(records_for_one_message(message.records, 0) <= message.records.size(),
               "there are as many records as there are");
    const End end = to_end(message.records);

    fuzz::must(to_end(to_records(end)) == end, "what an end tells reads back as the same");
    for (const Record &record : message.records) {
        const auto shot = to_shot(record);

        fuzz::must(!shot || to_shot(to_record(*shot)) == shot, "a shot reads back as itself");
    }
    return 0;
}
