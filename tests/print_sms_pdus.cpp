// Prints "address texthex pdu" for the SMS-SUBMIT PDUs the library builds
// (the address the PDU must carry), for decode_sms_pdus.js to decode with a
// decoder this project did not write.
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
        // National numbers of 8 to 17 digits (country code 91 added) and international ones.
        std::string digits = std::to_string(98765432109876543 - 1111111 * i).substr(0, 8 + i % 11);
        std::string number = i % 3 == 2 ? "+" + digits : digits, address = i % 3 == 2 ? digits : "91" + digits;
        char *pdu = zel::buildSubmitPdu(number.c_str(), texts[i].c_str());
        if (pdu == nullptr) return 1;
        printf("%s ", address.c_str());
        for (unsigned char b : texts[i]) printf("%02x", b);
        printf(" %s\n", pdu);
        free(pdu);
    }
    return 0;
}
