// Wording of the error and value messages the kernels report.
#include "message_catalogue.h"

namespace orx::host {

namespace {

constexpr int kFirstMessage = 735;

// Values use %.17g so that every printed double reads back to the same bits.
constexpr MessageEntry kMessages[] = {
    {735, MessageArgs::kFunctionAndIndex, "%s: argument %d is not valid"},
    {736, MessageArgs::kFunction, "%s: an argument array cannot be accessed"},
    {737, MessageArgs::kFunction, "%s: an argument lies outside the domain"},
    {738, MessageArgs::kFunction, "%s: singularity, the exact result is infinite"},
    {739, MessageArgs::kFunction, "%s: the result overflows"},
    {740, MessageArgs::kFunction, "%s: the result underflows"},
    {741, MessageArgs::kFunction, "%s: an error of unknown cause"},
    {742, MessageArgs::kIndexAndValue, "argument at element %d: %.17g"},
    {743, MessageArgs::kIndexAndValue, "result at element %d: %.17g"},
    {744, MessageArgs::kIndexAndValue, "argument at element %d: %.17g"},
    {745, MessageArgs::kIndexAndValue, "first result at element %d: %.17g"},
    {746, MessageArgs::kIndexAndValue, "second result at element %d: %.17g"},
    {747, MessageArgs::kIndexAndValue, "first argument at element %d: %.17g"},
    {748, MessageArgs::kIndexAndValue, "second argument at element %d: %.17g"},
    {749, MessageArgs::kIndexAndValue, "result at element %d: %.17g"},
    {750, MessageArgs::kIndexAndValue, "first argument at element %d: %.17g"},
    {751, MessageArgs::kIndexAndValue, "second argument at element %d: %.17g"},
    {752, MessageArgs::kIndexAndValue, "first result at element %d: %.17g"},
    {753, MessageArgs::kIndexAndValue, "second result at element %d: %.17g"},
};
constexpr int kMessageCount = sizeof(kMessages) / sizeof(kMessages[0]);

}  // namespace

int argument_count(MessageArgs args) { return args == MessageArgs::kFunction ? 1 : 2; }

const MessageEntry* find_message(int number) {
  if (number < kFirstMessage || number >= kFirstMessage + kMessageCount) return nullptr;
  return &kMessages[number - kFirstMessage];
}

}  // namespace orx::host
