"""Saves the attachments of a message: FILE FOLDER."""
import sys

import tessolt

file, folder = sys.argv[1:]
for attachment in tessolt.Message.load(file).attachments:
    # Whatever name the sender gave: never outside of the folder, and over no other file.
    print(attachment.save_to(folder))
