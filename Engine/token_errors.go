// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"regexp"
	"strings"
)

// tokenWords is what rclone puts before every error of the token endpoint, a missing network included.
const tokenWords = "couldn't fetch token: "

// refusal matches what follows tokenWords when Google itself said no: rclone's advice after the error code of a 400 or
// 401 answer, or the OAuth library's text with one of the codes that mean a refusal. Codes that say "later"
// (internal_failure, temporarily_unavailable and the like) are not among them.
var refusal = regexp.MustCompile(`^(?:\w+: (?:maybe token expired\?|if you're using your own client id)` +
	`|oauth2: "(?:invalid_grant|invalid_client|invalid_request|invalid_scope|unauthorized_client|unsupported_grant_type` +
	`|access_denied|admin_policy_enforced|org_internal|deleted_client|disabled_client|restricted_client)")`)

// withoutTokenWords takes tokenWords out of an error text unless Google refused. The words tell the application to ask
// the user to sign in again, which helps nobody whose laptop has merely lost its network while the token expired.
func withoutTokenWords(text string) string {
	before, after, found := strings.Cut(text, tokenWords)
	if !found {
		return text
	}
	if refusal.MatchString(after) {
		before += tokenWords
	}
	return before + withoutTokenWords(after)
}
