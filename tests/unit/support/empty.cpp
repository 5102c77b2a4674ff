// keeps the support library non-empty
