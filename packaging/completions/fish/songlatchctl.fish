songlatchctl completion fish | source
