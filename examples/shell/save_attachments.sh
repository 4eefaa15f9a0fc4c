# Saves the attachments, whatever their sender named them: nothing outside the folder, no file overwritten.
tessolt extract message.eml --into attachments
