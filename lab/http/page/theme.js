// Before the first paint: the colour scheme that was chosen here, or else the system's.
document.documentElement.dataset.theme = localStorage.getItem('theme') || 'auto';
