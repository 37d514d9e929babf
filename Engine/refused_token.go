// SPDX-License-Identifier: LicenseRef-Quillmount

package main

import (
	"context"
	"errors"
	"net/http"
	"time"

	"github.com/rclone/rclone/fs"
	"github.com/rclone/rclone/fs/cache"
	"github.com/rclone/rclone/lib/oauthutil"
	"google.golang.org/api/googleapi"
)

// renewRefusedToken marks the remote's access token as expired if Google refuses it before its time, as it does when the
// user takes the grant back. rclone would go on with such a token for up to an hour; now it asks for a new one when
// the remote is opened, and learns whether the grant is gone or only that token. A remote that opens is kept open.
func renewRefusedToken(remote string) {
	_, err := cache.Get(context.Background(), remote)
	var refusal *googleapi.Error
	if !errors.As(err, &refusal) || refusal.Code != http.StatusUnauthorized {
		return
	}
	_, name, _, config, err := fs.ConfigFs(remote)
	if err != nil {
		return
	}
	token, err := oauthutil.GetToken(name, config)
	if err != nil {
		return
	}
	token.Expiry = time.Now().Add(-time.Hour)
	if err := oauthutil.PutToken(name, config, token, false); err != nil {
		fs.Errorf(nil, "Failed to note that the access token was refused: %v", err)
	}
}
