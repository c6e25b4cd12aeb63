#include "kdi/common/HSTStringUtils.h"

void HSTStringUtils::to_lower(std::string& text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
}
