// SHA-256 on the host through libcrypto, or a failure at the provider when a test asks for one.
#pragma once

namespace sim {

void SetSha256Fails(bool fails);

}  // namespace sim
