namespace open_decoder { void placeholder() {} }
