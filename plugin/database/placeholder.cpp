namespace veltra { void database_placeholder() {} }
