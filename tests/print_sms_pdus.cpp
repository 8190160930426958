// Prints "number texthex pdu" for the SMS-SUBMIT PDUs the library builds, for
// decode_sms_pdus.js to decode with a decoder this project did not write.
#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "zelto_api_modules/zel_sms_internal.h"

int main() {
    std::vector<std::string> texts = {"Hi", "", "\xE9", "Hello, World! 0123456789 {}[]~"};
    for (int first = 1; first < 256; first += 70) {  // every byte but zero, 70 to a message as one PDU carries
        texts.emplace_back();
        for (int b = first; b < first + 70 && b < 256; ++b) texts.back() += static_cast<char>(b);
    }
    for (size_t i = 0; i < texts.size(); ++i) {
        std::string number = std::to_string(9876543210 - 1111111 * i);
        char *pdu = zel::buildSubmitPdu(number.c_str(), texts[i].c_str());
        if (pdu == nullptr) return 1;
        printf("%s ", number.c_str());
        for (unsigned char b : texts[i]) printf("%02x", b);
        printf(" %s\n", pdu);
        free(pdu);
    }
    return 0;
}
