nothing
