#pragma once

#include <string>
#include <string_view>

namespace Octree {

/// A URL as messages, logs and files may show it: without user information ("user:password@")
/// and without the query parameters that carry secrets (X-Amz-Signature, X-Amz-Credential,
/// X-Amz-Security-Token, Signature, sig, token, access_token, key, password and the like, in any
/// case). Other text comes back as it is. Any thread.
std::string redactedUrl(std::string_view url);

/// `text` with every URL in it (http://, https://, s3://) redacted as redactedUrl does: for
/// messages that quote URLs among other words. Any thread.
std::string redactedText(std::string_view text);

} // namespace Octree
