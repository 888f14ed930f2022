// SPDX-License-Identifier: MIT
// Fragments into the dispatcher, beside a slow and plain model of the rules.
//
// An input is a row of fragments: id, total, offset, size of the data, kind; a byte each, so that they meet
// each other. The highest bit of the kind makes total and offset large.
#include "communication/onboardmessagedispatcher.h"
#include "communication/reassemblymodel.h"
#include "support/fuzzapp.h"
#include "support/fuzzcheck.h"
#include "support/inputbytes.h"

namespace {

constexpr quint8 Large = 0x80;
constexpr int MaxId = 32;

PayloadMessage nextFragment(InputBytes &input)
{
    PayloadMessage fragment;
    fragment.header.id = input.byte() % MaxId;
    fragment.header.total = input.byte();
    fragment.header.offset = input.byte();
    const int size = input.byte();
    const quint8 kind = input.byte();
    if ((kind & Large) != 0) {
        fragment.header.total = static_cast<quint16>(fragment.header.total * 257);
        fragment.header.offset = static_cast<quint16>(fragment.header.offset * 257);
    }
    fragment.header.messageId = MessageId(kind & 1);
    fragment.header.payloadId = PayloadId((kind >> 1) & 1);
    fragment.data = QByteArray(size, static_cast<char>(fragment.header.offset));
    return fragment;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *data, size_t size)
{
    fuzzApp();
    OnboardMessageDispatcher dispatcher;
    ReassemblyModel model;
    InputBytes input(data, size);
    while (!input.atEnd()) {
        const PayloadMessage fragment = nextFragment(input);
        const auto expected = model.put(fragment);
        const auto complete = dispatcher.putMessage(fragment);
        fuzzCheck(expected.has_value() == !complete.isNull(), "complete when the rules say so");
        if (!complete)
            continue;
        fuzzCheck(complete->data == *expected, "the data in the order of the offsets");
        fuzzCheck(complete->id == fragment.header.id && complete->messageId == fragment.header.messageId &&
                      complete->payloadId == fragment.header.payloadId,
                  "the payload that the fragment belongs to");
    }
    return 0;
}
