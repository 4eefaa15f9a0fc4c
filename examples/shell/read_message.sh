# Shows a message: who, when, what, the tree of its parts, and the text. A file name would do in place of the "-".
tessolt show - <message.eml
tessolt show --json message.eml
