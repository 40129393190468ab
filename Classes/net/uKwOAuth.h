#pragma once
// The refresh of an expired OAuth 2 access token (RFC 6749, 6): a POST of the refresh
// token to the provider's token endpoint.
//
// The endpoint is QUILLON_OAUTH_TOKEN_URL when set, else the known endpoint of the mail
// host's provider (Google, Microsoft); the client is QUILLON_OAUTH_CLIENT_ID and
// QUILLON_OAUTH_CLIENT_SECRET.

#include <string>

#include "uKwDateTime.h"

struct TKwOAuthTokens {
  std::string AccessToken;
  std::string RefreshToken;  // empty when the provider keeps the old one
  TDateTime Expiry = 0;      // local time; 0 when the provider gave no lifetime
};

// The token endpoint for a mail host, or "" when none is known.
std::string OAuthTokenUrl(const std::string& mailHost);

// False with `error` when no endpoint is known, the endpoint cannot be reached or refuses,
// or its answer holds no access token.
bool RefreshOAuthToken(const std::string& mailHost, const std::string& refreshToken, const std::string& caFile,
                       TKwOAuthTokens& tokens, std::string& error);
