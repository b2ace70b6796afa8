#pragma once

#include <lumaro/octree/Location.h>

#include <string>
#include <vector>

namespace Octree {

// Where the requests of a remote store go and how they are authorised, resolved once when the
// store is opened from its location, the host's RemoteAccess and the environment.
struct RemoteEndpoint {
    // The URL that a resource's name is appended to ("BASE/NAME"), credentials included; and
    // `query`, appended after the name, so that every request of a pre-signed folder keeps it.
    std::string base;
    std::string query;
    // The location as messages name it (no credentials): s3://BUCKET/PATH for a bucket.
    std::string shownBase;
    // "Name: value" lines sent with every request.
    std::vector<std::string> headers;
    // S3 signing (Signature Version 4): curl's CURLOPT_AWS_SIGV4 text ("aws:amz:REGION:s3") and
    // "KEY:SECRET"; both empty for unsigned requests.
    std::string sigV4;
    std::string sigV4Keys;
    // Whether a missing password may come from ~/.netrc.
    bool netrc = true;

    // The URL of a resource of the store.
    std::string url(std::string_view name) const;
    // The same as messages show it.
    std::string shown(std::string_view name) const;
};

// Resolves an http://, https:// or s3:// location. Throws std::runtime_error naming the location
// when its configuration cannot be read (a credentials file that names no such profile is no error).
RemoteEndpoint remoteEndpoint(const Location& location);

// The parts of an AWS configuration, read from the environment and the shared files.
struct AwsSettings {
    std::string accessKeyId;
    std::string secretAccessKey;
    std::string sessionToken;
    std::string region;
    std::string endpoint;
};
AwsSettings awsSettingsFromEnvironment();

} // namespace Octree
