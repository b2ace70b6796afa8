#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Octree {

/// The keys of an AWS (or S3-compatible) account.
struct S3Credentials {
    std::string accessKeyId; ///< AWS_ACCESS_KEY_ID
    std::string secretAccessKey; ///< AWS_SECRET_ACCESS_KEY
    std::string sessionToken; ///< AWS_SESSION_TOKEN; empty without temporary credentials
};

/// How private stores are reached, as a host gives it. What is left unset here comes from the
/// environment, as AWS's tools and curl read it:
/// - S3: AWS_ACCESS_KEY_ID, AWS_SECRET_ACCESS_KEY and AWS_SESSION_TOKEN, else the profile
///   AWS_PROFILE (or "default") of the shared credentials file (AWS_SHARED_CREDENTIALS_FILE, or
///   .aws/credentials in the home folder); AWS_REGION, AWS_DEFAULT_REGION, or the profile's region
///   in the config file (AWS_CONFIG_FILE, or .aws/config), else us-east-1; AWS_ENDPOINT_URL for an
///   S3-compatible service, which is then addressed path-style (ENDPOINT/BUCKET/KEY); without an
///   endpoint, AWS's virtual-hosted addresses (https://BUCKET.s3.REGION.amazonaws.com/KEY).
///   Without credentials, requests go unsigned (public buckets).
/// - HTTP(S): user and password in the URL or from .netrc in the home folder; extra request
///   headers (a bearer token, say) from LUMARO_HTTP_HEADERS, one "Name: value" per line.
struct RemoteAccess {
    std::optional<S3Credentials> s3Credentials; ///< Set: these keys (empty keys: unsigned requests).
    std::string s3Region; ///< Empty: from the environment.
    std::string s3Endpoint; ///< Empty: from the environment, else AWS's own.
    /// Sent with every HTTP(S) and S3 request, besides those of LUMARO_HTTP_HEADERS.
    std::vector<std::pair<std::string, std::string>> httpHeaders;
};

/// Sets how the stores opened from now on are reached (stores open already keep their readers).
/// Any thread.
void setRemoteAccess(RemoteAccess access);
/// What setRemoteAccess set last (nothing set: all from the environment). Any thread.
RemoteAccess remoteAccess();

} // namespace Octree
