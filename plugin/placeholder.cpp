namespace veltra { void placeholder() {} }
