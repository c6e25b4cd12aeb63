#include "kdi/common/HSTStringUtils.h"

#include <algorithm>

#include "kdi/common/KdiText.h"

void HSTStringUtils::to_lower(std::string& text) {
  std::transform(text.begin(), text.end(), text.begin(), kdi::text::to_lower);
}
