// What the page does beside being read: search and filters, the way to a parameter, what a picture tells where one
// points. Without scripts everything is there and in sight.
(function () {
  'use strict';
  const $ = id => document.getElementById(id);
  const all = (query, from) => Array.from((from || document).querySelectorAll(query));

  // ---- search and filters
  const form = $('find'), query = $('q'), group = $('g'), kind = $('k'), hits = $('hits');
  const items = all('#list li[id]');
  let keys = null;  // what is searched of each item; made when it is first asked for
  function keyOf(item) {
    const about = item.querySelector('.why > p');
    return (item.querySelector('summary').textContent + ' ' + (about ? about.textContent : '') + ' ' +
            (item.dataset.also || '')).toLowerCase();
  }
  function filter() {
    const words = query.value.toLowerCase().split(/\s+/).filter(Boolean);
    if (words.length && !keys) keys = items.map(keyOf);
    let count = 0;
    items.forEach((item, i) => {
      const there = (!group.value || item.closest('.pgroup').dataset.g === group.value) &&
          (!kind.value || item.classList.contains(kind.value)) && words.every(word => keys[i].includes(word));
      item.hidden = !there;
      count += there ? 1 : 0;
    });
    all('#list .pgroup').forEach(one => { one.hidden = !one.querySelector('li[id]:not([hidden])'); });
    hits.textContent = count === items.length ? items.length + ' parameters' : count + ' of ' + items.length;
  }
  let waits = 0;
  const soon = () => { clearTimeout(waits); waits = setTimeout(filter, 60); };
  form.addEventListener('input', soon);
  form.addEventListener('change', filter);
  form.addEventListener('submit', event => event.preventDefault());
  form.addEventListener('reset', () => setTimeout(filter, 0));
  const print = document.createElement('label');
  print.className = 'print';
  print.innerHTML = '<input type="checkbox"> print what is shown';
  print.firstChild.addEventListener('change', event => {
    document.body.classList.toggle('with-list', event.target.checked);
  });
  form.append(print);
  document.addEventListener('keydown', event => {
    if (event.key === '/' && !/^(INPUT|SELECT|TEXTAREA)$/.test(document.activeElement.tagName)) {
      event.preventDefault();
      query.focus();
    }
  });

  // ---- the way to a parameter
  function show() {
    const target = location.hash.length > 1 && $(decodeURIComponent(location.hash.slice(1)));
    if (!target) return;
    if (target.hidden) {
      form.reset();
      filter();
    }
    const inside = target.matches('li') && target.querySelector(':scope > details');
    if (inside) inside.open = true;
    target.scrollIntoView({block: inside ? 'center' : 'start'});
  }
  addEventListener('hashchange', show);

  // ---- pictures
  const tip = $('tip');
  const titles = new WeakMap();
  all('svg title').forEach(title => {
    titles.set(title.parentNode, title.textContent);
    title.parentNode.setAttribute('aria-label', title.textContent.replace(/\n/g, ', '));
    title.remove();
  });
  function mark(from) {
    all('.hi').forEach(one => one.classList.remove('hi'));
    const wanted = from && from.dataset.f ? from.dataset.f.split(' ') : [];
    if (!wanted.length) return;
    const near = from.closest('section');
    all('[data-f]', near).forEach(one => {
      if (one.dataset.f.split(' ').some(f => wanted.includes(f))) one.classList.add('hi');
    });
  }
  function tell(part, x, y) {
    tip.textContent = titles.get(part);
    tip.hidden = false;
    const width = tip.offsetWidth, height = tip.offsetHeight;
    tip.style.left = Math.max(6, Math.min(x + 14, innerWidth - width - 6)) + 'px';
    tip.style.top = (y + 18 + height > innerHeight ? Math.max(6, y - height - 12) : y + 18) + 'px';
    mark(part);
  }
  function hush() {
    tip.hidden = true;
    mark(null);
  }
  const partAt = event => {
    const part = event.target.closest ? event.target.closest('svg g') : null;
    return part && titles.has(part) ? part : null;
  };
  document.addEventListener('pointermove', event => {
    const part = partAt(event);
    const row = event.target.closest ? event.target.closest('tr[data-f]') : null;
    if (part) tell(part, event.clientX, event.clientY);
    else if (row) { tip.hidden = true; mark(row); }
    else if (!tip.hidden || document.querySelector('.hi')) hush();
  });
  document.addEventListener('focusin', event => {
    const part = partAt(event);
    if (!part) return;
    const box = part.getBoundingClientRect();
    tell(part, box.left + Math.min(box.width, 60), box.top);
  });
  document.addEventListener('focusout', hush);
  const go = part => { if (part && part.dataset.to) location.hash = part.dataset.to; };
  document.addEventListener('click', event => go(partAt(event)));
  // One stop for each picture; arrows go on within it.
  all('svg').forEach(picture => {
    const parts = all('g[tabindex]', picture);
    if (!parts.length) return;
    let at = 0;
    parts[0].setAttribute('tabindex', '0');
    picture.addEventListener('keydown', event => {
      const to = {ArrowDown: at + 1, ArrowRight: at + 1, ArrowUp: at - 1, ArrowLeft: at - 1, Home: 0, End: parts.length - 1}[event.key];
      if (event.key === 'Enter') go(parts[at]);
      if (event.key === 'Escape') hush();
      if (to === undefined) return;
      event.preventDefault();
      parts[at].setAttribute('tabindex', '-1');
      at = Math.max(0, Math.min(parts.length - 1, to));
      parts[at].setAttribute('tabindex', '0');
      parts[at].focus();
    });
    parts.forEach((part, i) => part.addEventListener('focus', () => { at = i; }));
  });

  filter();
  show();
})();
