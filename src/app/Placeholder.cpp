void kelvaraPlaceholder() {}
